#include "lighting_host/broker/RawZcl.h"

#include "embedded_host/ZclCodec.h"
#include "lighting_host/text/Json.h"

namespace lighting_host
{
namespace
{
namespace zcl = embedded_host::zcl;

constexpr std::uint8_t TYPE_MASK = 0x03;
constexpr std::uint8_t NO_DEFAULT_RESPONSE = 0x10;
constexpr std::uint8_t GENERAL = 0;
constexpr std::uint8_t OF_CLUSTER = 1;
constexpr std::size_t HEADER = 3;
constexpr std::uint8_t DEFAULT_RESPONSE = 0x0B;
constexpr std::uint8_t SERVER_TO_CLIENT = 0x09;
constexpr std::size_t LONGEST_FRAME = 256;
// Of a move that does not say how long it takes.
constexpr std::chrono::seconds UNTOLD_TIME{1};

// Reads a frame from its payload on; past its end everything is 0 and Good is false.
class Octets
{
public:
    explicit Octets(const std::vector<std::uint8_t>& bytes) : m_bytes(bytes) {}

    unsigned U8()
    {
        if (m_at < m_bytes.size())
            return m_bytes[m_at++];
        m_good = false;
        return 0;
    }
    unsigned U16()
    {
        const unsigned low = U8();
        return low | (U8() << 8);
    }
    void Skip(unsigned count)
    {
        for (; count > 0 && m_good; --count)
            U8();
    }
    bool Good() const { return m_good; }
    bool AtEnd() const { return m_at >= m_bytes.size(); }

private:
    const std::vector<std::uint8_t>& m_bytes;
    std::size_t m_at = HEADER;
    bool m_good = true;
};

std::uint8_t TypeOf(const wire::ZclFrame& frame)
{
    return frame.bytes[0] & TYPE_MASK;
}

bool IsRequest(const wire::ZclFrame& frame, std::uint16_t cluster, std::uint8_t command)
{
    return frame.bytes.size() >= HEADER && frame.cluster == cluster &&
           TypeOf(frame) == OF_CLUSTER && frame.bytes[2] == command;
}

Json AllGroups(Octets& in)
{
    in.U8();
    return {{"groupcount", 0}, {"grouplist", Json::array()}};
}

Json Group(Octets& in)
{
    return {{"groupid", in.U16()}};
}

Json NamedGroup(Octets& in)
{
    Json payload = Group(in);
    in.Skip(in.U8());
    payload["groupname"] = "";
    return payload;
}

Json Scene(Octets& in)
{
    Json payload = Group(in);
    payload["sceneid"] = in.U8();
    return payload;
}

Json StoredScene(Octets& in)
{
    Json payload = Scene(in);
    payload["transtime"] = in.U16();
    in.Skip(in.U8());
    payload["scenename"] = "";
    Json sets = Json::array();
    while (!in.AtEnd() && in.Good())
    {
        Json set = {{"clstId", in.U16()}};
        const unsigned length = in.U8();
        Json octets = Json::array();
        for (unsigned i = 0; i < length && in.Good(); ++i)
            octets.push_back(in.U8());
        set["len"] = length;
        set["extField"] = std::move(octets);
        sets.push_back(std::move(set));
    }
    payload["extensionfieldsets"] = std::move(sets);
    return payload;
}

Json Attribute(Octets& in)
{
    return Json::array({{{"attrId", in.U16()}}});
}

Json Level(Octets& in)
{
    Json payload = {{"level", in.U8()}};
    payload["transtime"] = in.U16();
    return payload;
}

Json Move(Octets& in)
{
    Json payload = {{"movemode", in.U8()}};
    payload["rate"] = in.U8();
    return payload;
}

Json Nothing(Octets&)
{
    return Json::object();
}

// What can be sent, by Zigbee2MQTT's names.
struct Row
{
    std::uint16_t cluster;
    std::uint8_t type;
    std::uint8_t command;
    const char* clusterKey;
    const char* commandKey;
    Json (*payload)(Octets&);
};

constexpr std::uint16_t G = zcl::CLUSTER_GROUPS;
constexpr std::uint16_t S = zcl::CLUSTER_SCENES;
constexpr std::uint16_t L = lamp_command::CLUSTER_LEVEL;

// clang-format off
constexpr Row ROWS[] = {
    {G, OF_CLUSTER, lamp_command::ADD_GROUP,     "genGroups",    "add",                  &NamedGroup},
    {G, OF_CLUSTER, 0x02,          "genGroups",    "getMembership",        &AllGroups},
    {G, OF_CLUSTER, lamp_command::REMOVE_GROUP,  "genGroups",    "remove",               &Group},
    {S, OF_CLUSTER, lamp_command::ADD_SCENE,     "genScenes",    "add",                  &StoredScene},
    {S, OF_CLUSTER, 0x01,          "genScenes",    "view",                 &Scene},
    {S, OF_CLUSTER, 0x02,          "genScenes",    "remove",               &Scene},
    {S, OF_CLUSTER, lamp_command::RECALL,  "genScenes",    "recall",               &Scene},
    {S, OF_CLUSTER, 0x06,          "genScenes",    "getSceneMembership",   &Group},
    {S, GENERAL,    0x00,          "genScenes",    "read",                 &Attribute},
    {L, OF_CLUSTER, lamp_command::MOVE_TO_LEVEL, "genLevelCtrl", "moveToLevelWithOnOff", &Level},
    {L, OF_CLUSTER, lamp_command::MOVE,          "genLevelCtrl", "moveWithOnOff",        &Move},
    {L, OF_CLUSTER, lamp_command::STOP,          "genLevelCtrl", "stopWithOnOff",        &Nothing},
};
// clang-format on

const Row* RowOf(const wire::ZclFrame& frame)
{
    if (frame.bytes.size() < HEADER)
        return nullptr;
    for (const Row& row : ROWS)
    {
        if (row.cluster == frame.cluster && row.type == TypeOf(frame) &&
            row.command == frame.bytes[2])
            return &row;
    }
    return nullptr;
}

std::string TextOf(const Json& object, const char* name)
{
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

// {"clusterID":5,"endpoint":1,"data":{"data":[25,13,...],"type":"Buffer"},...}
std::optional<wire::ZclFrame> FrameIn(const Json& data)
{
    const Json none;
    const auto at = [&none](const Json& object, const char* name) -> const Json&
    {
        const auto found = object.is_object() ? object.find(name) : object.end();
        return object.is_object() && found != object.end() ? *found : none;
    };
    const Json& octets = at(at(data, "data"), "data");
    const Json& cluster = at(data, "clusterID");
    if (!octets.is_array() || octets.empty() || octets.size() > LONGEST_FRAME ||
        !cluster.is_number_unsigned() || cluster.get<std::uint64_t>() > UINT16_MAX)
        return std::nullopt;
    wire::ZclFrame frame;
    frame.cluster = cluster.get<std::uint16_t>();
    for (const Json& octet : octets)
    {
        if (!octet.is_number_unsigned() || octet.get<std::uint64_t>() > UINT8_MAX)
            return std::nullopt;
        frame.bytes.push_back(octet.get<std::uint8_t>());
    }
    return frame;
}
} // namespace

std::string RawRequest(const LampPlace& place, std::uint16_t address, const wire::ZclFrame& frame,
                       const std::string& transaction)
{
    const Row* const row = RowOf(frame);
    if (!row)
        return std::string();
    Octets in(frame.bytes);
    Json payload = row->payload(in);
    if (!in.Good())
        return std::string();
    // What answers with nothing else is to answer at all.
    const bool answersByItself = frame.cluster != lamp_command::CLUSTER_LEVEL && !MoveTime(frame);
    const Json request = {{"action", "raw"},
                          {"transaction", transaction},
                          {"params",
                           {{"ieee_address", place.ieee},
                            {"network_address", address},
                            {"dst_endpoint", place.endpoint},
                            {"cluster_key", row->clusterKey},
                            {"timeout", place.patience.count()},
                            {"zcl",
                             {{"frame_type", row->type},
                              {"direction", 0},
                              {"disable_default_response", answersByItself},
                              {"command_key", row->commandKey},
                              {"payload", std::move(payload)}}}}}};
    return request.dump();
}

std::optional<RequestAnswer> ReadRequestAnswer(const std::string& text)
{
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object())
        return std::nullopt;
    RequestAnswer answer;
    answer.transaction = TextOf(json, "transaction");
    if (answer.transaction.empty())
        return std::nullopt;
    const auto data = json.find("data");
    if (TextOf(json, "status") == "ok")
        answer.frame = data == json.end() ? std::nullopt : FrameIn(*data);
    else
    {
        answer.error = TextOf(json, "error");
        if (answer.error.empty())
            answer.error = "it failed";
    }
    return answer;
}

std::optional<std::uint8_t> DefaultResponseStatus(const wire::ZclFrame& frame)
{
    constexpr std::size_t LENGTH = HEADER + 2;
    if (frame.bytes.size() < LENGTH || TypeOf(frame) != GENERAL ||
        frame.bytes[2] != DEFAULT_RESPONSE)
        return std::nullopt;
    return frame.bytes[LENGTH - 1];
}

std::optional<GroupChange> GroupChangeOf(const wire::ZclFrame& frame)
{
    const bool joins = IsRequest(frame, zcl::CLUSTER_GROUPS, lamp_command::ADD_GROUP);
    if (!joins && !IsRequest(frame, zcl::CLUSTER_GROUPS, lamp_command::REMOVE_GROUP))
        return std::nullopt;
    Octets in(frame.bytes);
    return GroupChange{static_cast<std::uint16_t>(in.U16()), joins};
}

std::optional<wire::ZclFrame> SceneRefusal(const wire::ZclFrame& request, std::uint8_t status)
{
    constexpr std::size_t SCENE = 3;
    if (!IsRequest(request, zcl::CLUSTER_SCENES, lamp_command::ADD_SCENE) ||
        request.bytes.size() < HEADER + SCENE || status == zcl::STATUS_SUCCESS)
        return std::nullopt;
    wire::ZclFrame refusal{request.cluster, request.endpoint, {}};
    refusal.bytes = {SERVER_TO_CLIENT | NO_DEFAULT_RESPONSE, request.bytes[1],
                     lamp_command::ADD_SCENE, status};
    refusal.bytes.insert(refusal.bytes.end(), request.bytes.begin() + HEADER,
                         request.bytes.begin() + HEADER + SCENE);
    return refusal;
}

std::optional<std::chrono::milliseconds> MoveTime(const wire::ZclFrame& request)
{
    if (IsRequest(request, zcl::CLUSTER_SCENES, lamp_command::RECALL))
        return UNTOLD_TIME;
    if (request.cluster != lamp_command::CLUSTER_LEVEL || request.bytes.size() < HEADER)
        return std::nullopt;
    if (!IsRequest(request, lamp_command::CLUSTER_LEVEL, lamp_command::MOVE_TO_LEVEL))
        return UNTOLD_TIME;
    Octets in(request.bytes);
    in.U8();
    return in.U16() * lamp_command::TENTH;
}
} // namespace lighting_host
