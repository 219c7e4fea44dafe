#include "embedded_host/ZclCodec.h"

#include "nxshared/Zcl.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace embedded_host
{
namespace zcl
{
namespace
{
using namespace std::chrono_literals;

// The first octet of a frame.
constexpr std::uint8_t CONTROL_TYPE = 0x03;
constexpr std::uint8_t CONTROL_MANUFACTURER = 0x04;
constexpr std::uint8_t TYPE_GENERAL = 0x00;
constexpr std::uint8_t TYPE_CLUSTER = 0x01;
constexpr std::size_t HEADER_SIZE = 3;

constexpr std::uint16_t CLUSTER_ON_OFF = 0x0006;
constexpr std::uint16_t CLUSTER_LEVEL_CONTROL = 0x0008;

constexpr int MAX_PERCENT = 100;
constexpr int MAX_LEVEL = 254;
constexpr int MAX_SECONDS = 0xFFFF;

// A string of this length octet has no value and no octets.
constexpr std::uint8_t STRING_NO_VALUE = 0xFF;

// ---- requests

// Writes to a buffer that is known to be large enough.
class Writer
{
public:
    explicit Writer(std::uint8_t* out) : m_out(out) {}

    void U8(std::uint8_t value) { m_out[m_size++] = value; }
    void U16(std::uint16_t value)
    {
        U8(static_cast<std::uint8_t>(value & 0xFF));
        U8(static_cast<std::uint8_t>(value >> 8));
    }
    std::size_t Size() const { return m_size; }

private:
    std::uint8_t* m_out;
    std::size_t m_size = 0;
};

void PutSceneCountAttribute(Writer& out, const Request&)
{
    out.U16(0x0000);
}

void PutZeroCount(Writer& out, const Request&)
{
    out.U8(0);
}

void PutGroup(Writer& out, const Request& request)
{
    out.U16(request.group);
}

void PutGroupAndName(Writer& out, const Request& request)
{
    out.U16(request.group);
    out.U8(0);
}

void PutScene(Writer& out, const Request& request)
{
    out.U16(request.group);
    out.U8(static_cast<std::uint8_t>((request.scene >> 16) & 0xFF));
}

void PutSceneDetails(Writer& out, const Request& request)
{
    PutScene(out, request);
    const int seconds = nx::GetNearestSeconds(request.timeMs);
    out.U16(static_cast<std::uint16_t>(std::clamp(seconds, 0, MAX_SECONDS)));
    // An empty name.
    out.U8(0);
    // On/Off goes first, as lights write it, so that a recall lights a lamp that is off.
    out.U16(CLUSTER_ON_OFF);
    out.U8(1);
    out.U8(request.level > 0 ? 1 : 0);
    out.U16(CLUSTER_LEVEL_CONTROL);
    out.U8(1);
    out.U8(LevelFromPercent(request.level));
}

// One row for each kind of request, in the order of RequestKind.
struct RequestRow
{
    const char* name;
    std::uint16_t cluster;
    std::uint8_t type;
    std::uint8_t command;
    std::size_t payloadSize;
    void (*put)(Writer&, const Request&);
    bool hasGroup;
    bool hasScene;
    bool hasDetails;
};

constexpr std::uint16_t G = CLUSTER_GROUPS;
constexpr std::uint16_t S = CLUSTER_SCENES;

// clang-format off
constexpr RequestRow REQUESTS[] = {
    // name                 cluster type          command size put                   group  scene  details
    {"get_group_membership", G, TYPE_CLUSTER, 0x02,  1, &PutZeroCount,           false, false, false},
    {"add_group",            G, TYPE_CLUSTER, 0x00,  3, &PutGroupAndName,        true,  false, false},
    {"remove_group",         G, TYPE_CLUSTER, 0x03,  2, &PutGroup,               true,  false, false},
    {"get_scene_count",      S, TYPE_GENERAL, 0x00,  2, &PutSceneCountAttribute, false, false, false},
    {"get_scene_membership", S, TYPE_CLUSTER, 0x06,  2, &PutGroup,               true,  false, false},
    {"view_scene",           S, TYPE_CLUSTER, 0x01,  3, &PutScene,               true,  true,  false},
    {"remove_scene",         S, TYPE_CLUSTER, 0x02,  3, &PutScene,               true,  true,  false},
    {"add_scene",            S, TYPE_CLUSTER, 0x00, 14, &PutSceneDetails,        true,  true,  true},
};
// clang-format on

// For a kind that is none of the enumeration's.
constexpr RequestRow NO_REQUEST = {"unknown", 0, TYPE_GENERAL, 0, 0, nullptr, false, false, false};

const RequestRow& Row(RequestKind kind)
{
    const auto index = static_cast<std::size_t>(kind);
    return index < std::size(REQUESTS) ? REQUESTS[index] : NO_REQUEST;
}
} // namespace

const char* RequestName(RequestKind kind)
{
    return Row(kind).name;
}

std::uint16_t RequestCluster(RequestKind kind)
{
    return Row(kind).cluster;
}

bool RequestHasGroup(RequestKind kind)
{
    return Row(kind).hasGroup;
}

bool RequestHasScene(RequestKind kind)
{
    return Row(kind).hasScene;
}

bool RequestHasDetails(RequestKind kind)
{
    return Row(kind).hasDetails;
}

std::size_t EncodeRequest(const Request& request, std::uint8_t sequence, std::uint8_t* out,
                          std::size_t capacity)
{
    const RequestRow& row = Row(request.kind);
    static_assert(HEADER_SIZE + 14 == MAX_FRAME, "the longest row of the table");
    if (!row.put || capacity < HEADER_SIZE + row.payloadSize)
        return 0;
    Writer writer(out);
    writer.U8(row.type);
    writer.U8(sequence);
    writer.U8(row.command);
    row.put(writer, request);
    return writer.Size();
}

std::uint8_t LevelFromPercent(int percent)
{
    const int held = std::clamp(percent, 0, MAX_PERCENT);
    return static_cast<std::uint8_t>((held * MAX_LEVEL + MAX_PERCENT / 2) / MAX_PERCENT);
}

int PercentFromLevel(std::uint8_t level)
{
    return (level * MAX_PERCENT + MAX_LEVEL / 2) / MAX_LEVEL;
}

std::uint32_t SceneId(std::uint16_t group, std::uint8_t number)
{
    return (std::uint32_t{number} << 16) | group;
}

// ---- replies

namespace
{
const char* const ERROR_SHORT = "the ZCL frame is too short";
const char* const ERROR_COUNT = "a count in the ZCL frame goes past its end";
const char* const ERROR_SET = "a field set in the ZCL frame goes past its end";
const char* const ERROR_MANUFACTURER = "a manufacturer's ZCL frame is not understood";
const char* const ERROR_UNKNOWN = "the ZCL frame is no response that is known";
const char* const ERROR_TYPE = "an attribute in the ZCL frame has a type that is not understood";

// Reads a frame from front to back. Once the frame has ended early every further value is 0 and
// Good() is false.
class Reader
{
public:
    Reader(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    std::uint8_t U8()
    {
        if (!Skip(1))
            return 0;
        return m_data[-1];
    }
    std::uint16_t U16()
    {
        if (!Skip(2))
            return 0;
        return static_cast<std::uint16_t>(m_data[-2] | (m_data[-1] << 8));
    }
    bool Skip(std::size_t count)
    {
        if (count > m_left)
        {
            m_good = false;
            m_left = 0;
            return false;
        }
        m_data += count;
        m_left -= count;
        return true;
    }
    void SkipString()
    {
        const std::uint8_t length = U8();
        if (length != STRING_NO_VALUE)
            Skip(length);
    }
    std::size_t Left() const { return m_left; }
    bool Good() const { return m_good; }

private:
    const std::uint8_t* m_data;
    std::size_t m_left;
    bool m_good = true;
};

// Each reads the payload of one response; null when it was understood.
using ReadFunction = const char* (*)(Reader&, Reply&);

const char* ShortUnlessGood(const Reader& in)
{
    return in.Good() ? nullptr : ERROR_SHORT;
}

// Responses of a fixed size that nobody needs to hear of.
template <std::size_t SIZE>
const char* ReadSilent(Reader& in, Reply&)
{
    in.Skip(SIZE);
    return ShortUnlessGood(in);
}

const char* ReadViewGroup(Reader& in, Reply&)
{
    // Status and group.
    in.Skip(3);
    in.SkipString();
    return ShortUnlessGood(in);
}

const char* ReadGroupMembership(Reader& in, Reply& reply)
{
    in.U8(); // capacity
    const std::size_t count = in.U8();
    if (!in.Good())
        return ERROR_SHORT;
    if (count * 2 > in.Left())
        return ERROR_COUNT;
    reply.kind = Reply::Kind::GroupMembership;
    for (std::size_t index = 0; index < count; ++index)
        reply.groups.push_back(in.U16());
    return nullptr;
}

const char* ReadAddScene(Reader& in, Reply& reply)
{
    reply.status = in.U8();
    const std::uint16_t group = in.U16();
    reply.scene = SceneId(group, in.U8());
    if (reply.status != STATUS_SUCCESS)
        reply.kind = Reply::Kind::AddSceneFailure;
    return ShortUnlessGood(in);
}

// The level of the first set that holds one, -1 without; null when all sets are whole.
const char* ReadFieldSets(Reader& in, int& level)
{
    level = -1;
    while (in.Left() != 0)
    {
        const std::uint16_t cluster = in.U16();
        const std::size_t length = in.U8();
        if (!in.Good())
            return ERROR_SHORT;
        if (length > in.Left())
            return ERROR_SET;
        const bool holdsLevel = cluster == CLUSTER_LEVEL_CONTROL && length > 0 && level < 0;
        if (holdsLevel)
            level = PercentFromLevel(in.U8());
        in.Skip(holdsLevel ? length - 1 : length);
    }
    return nullptr;
}

const char* ReadViewSceneIn(Reader& in, Reply& reply, std::chrono::milliseconds unit)
{
    const std::uint8_t status = in.U8();
    const std::uint16_t group = in.U16();
    reply.kind = Reply::Kind::ViewScene;
    reply.scene = SceneId(group, in.U8());
    reply.level = -1;
    reply.timeMs = 0;
    if (!in.Good())
        return ERROR_SHORT;
    if (status != STATUS_SUCCESS)
        return nullptr;
    const int time = in.U16();
    in.SkipString();
    if (!in.Good())
        return ERROR_SHORT;
    const char* const error = ReadFieldSets(in, reply.level);
    if (!error && reply.level >= 0)
        reply.timeMs = static_cast<int>((time * unit).count());
    return error;
}

const char* ReadViewScene(Reader& in, Reply& reply)
{
    return ReadViewSceneIn(in, reply, 1s);
}

const char* ReadEnhancedViewScene(Reader& in, Reply& reply)
{
    return ReadViewSceneIn(in, reply, 100ms);
}

const char* ReadSceneMembership(Reader& in, Reply& reply)
{
    const std::uint8_t status = in.U8();
    in.U8(); // capacity
    reply.kind = Reply::Kind::SceneMembership;
    reply.group = in.U16();
    if (!in.Good())
        return ERROR_SHORT;
    // A light that refused holds none: what should be there is stored.
    if (status != STATUS_SUCCESS)
        return nullptr;
    const std::size_t count = in.U8();
    if (!in.Good())
        return ERROR_SHORT;
    if (count > in.Left())
        return ERROR_COUNT;
    for (std::size_t index = 0; index < count; ++index)
        reply.scenes.push_back(SceneId(reply.group, in.U8()));
    return nullptr;
}

// Skips a value of an attribute type. False for a type that is not understood.
bool SkipValue(Reader& in, std::uint8_t type)
{
    struct Sizes
    {
        std::uint8_t first;
        std::uint8_t last;
        // Of the first type of the range, and how much longer each further type is.
        std::uint8_t size;
        std::uint8_t step;
    };
    static constexpr Sizes SIZES[] = {
        {0x08, 0x0F, 1, 1}, // data
        {0x10, 0x10, 1, 0}, // boolean
        {0x18, 0x1F, 1, 1}, // bitmaps
        {0x20, 0x27, 1, 1}, // unsigned integers
        {0x28, 0x2F, 1, 1}, // signed integers
        {0x30, 0x31, 1, 1}, // enumerations
        {0x38, 0x38, 2, 0}, // half precision
        {0x39, 0x39, 4, 0}, // single precision
        {0x3A, 0x3A, 8, 0}, // double precision
        {0xE0, 0xE2, 4, 0}, // times of day, dates, UTC times
        {0xE8, 0xE9, 2, 0}, // cluster and attribute ids
        {0xF0, 0xF0, 8, 0}, // addresses
    };
    constexpr std::uint8_t OCTET_STRING = 0x41;
    constexpr std::uint8_t CHARACTER_STRING = 0x42;
    for (const Sizes& range : SIZES)
    {
        if (type < range.first || type > range.last)
            continue;
        const unsigned steps = type - range.first;
        in.Skip(range.size + range.step * steps);
        return true;
    }
    if (type != OCTET_STRING && type != CHARACTER_STRING)
        return false;
    in.SkipString();
    return true;
}

// Unsigned integers of 1 to 3 octets can be a scene count.
constexpr std::uint8_t TYPE_UINT8 = 0x20;
constexpr std::uint8_t TYPE_UINT24 = 0x22;
constexpr std::uint16_t ATTRIBUTE_SCENE_COUNT = 0x0000;

const char* ReadAttributes(Reader& in, Reply& reply, bool isScenes)
{
    do
    {
        const std::uint16_t attribute = in.U16();
        const std::uint8_t status = in.U8();
        if (!in.Good())
            return ERROR_SHORT;
        // A failed read has no effect and no value.
        if (status != STATUS_SUCCESS)
            continue;
        const std::uint8_t type = in.U8();
        if (!in.Good())
            return ERROR_SHORT;
        if (!isScenes || attribute != ATTRIBUTE_SCENE_COUNT)
        {
            if (!SkipValue(in, type))
                return ERROR_TYPE;
            continue;
        }
        if (type < TYPE_UINT8 || type > TYPE_UINT24)
            return ERROR_TYPE;
        reply.kind = Reply::Kind::SceneCount;
        reply.count = 0;
        for (int octet = 0; octet <= type - TYPE_UINT8; ++octet)
            reply.count |= in.U8() << (8 * octet);
    } while (in.Good() && in.Left() != 0);
    return ShortUnlessGood(in);
}

const char* ReadOtherAttributes(Reader& in, Reply& reply)
{
    return ReadAttributes(in, reply, false);
}

const char* ReadScenesAttributes(Reader& in, Reply& reply)
{
    return ReadAttributes(in, reply, true);
}

// What a response is told from others by, in one number.
constexpr std::uint32_t Key(std::uint16_t cluster, unsigned type, std::uint8_t command)
{
    return std::uint32_t{cluster} << 16 | type << 8 | command;
}

// In the table: general responses mean the same on every cluster.
constexpr std::uint16_t ANY_CLUSTER = 0xFFFF;

struct ReplyRow
{
    std::uint32_t key;
    ReadFunction read;
};

constexpr ReplyRow REPLIES[] = {
    {Key(S, TYPE_CLUSTER, 0x00), &ReadAddScene},
    {Key(S, TYPE_CLUSTER, 0x01), &ReadViewScene},
    {Key(S, TYPE_CLUSTER, 0x02), &ReadSilent<4>}, // Remove Scene
    {Key(S, TYPE_CLUSTER, 0x03), &ReadSilent<3>}, // Remove All Scenes
    {Key(S, TYPE_CLUSTER, 0x04), &ReadSilent<4>}, // Store Scene
    {Key(S, TYPE_CLUSTER, 0x06), &ReadSceneMembership},
    {Key(S, TYPE_CLUSTER, 0x40), &ReadAddScene}, // Enhanced Add Scene
    {Key(S, TYPE_CLUSTER, 0x41), &ReadEnhancedViewScene},
    {Key(S, TYPE_CLUSTER, 0x42), &ReadSilent<4>}, // Copy Scene
    {Key(S, TYPE_GENERAL, 0x01), &ReadScenesAttributes},
    {Key(G, TYPE_CLUSTER, 0x00), &ReadSilent<3>}, // Add Group
    {Key(G, TYPE_CLUSTER, 0x01), &ReadViewGroup},
    {Key(G, TYPE_CLUSTER, 0x02), &ReadGroupMembership},
    {Key(G, TYPE_CLUSTER, 0x03), &ReadSilent<3>}, // Remove Group
    {Key(ANY_CLUSTER, TYPE_GENERAL, 0x01), &ReadOtherAttributes},
    {Key(ANY_CLUSTER, TYPE_GENERAL, 0x0B), &ReadSilent<2>}, // Default Response
};

// Null when there is none.
ReadFunction FindReader(std::uint32_t key)
{
    for (const ReplyRow& row : REPLIES)
    {
        if (row.key == key)
            return row.read;
    }
    return nullptr;
}
} // namespace

const char* DecodeReply(std::uint16_t cluster, const std::uint8_t* frame, std::size_t size,
                        Reply& reply)
{
    Reader in(frame, size);
    const std::uint8_t control = in.U8();
    if (in.Good() && (control & CONTROL_MANUFACTURER) != 0)
        return ERROR_MANUFACTURER;
    in.U8(); // sequence
    const std::uint8_t command = in.U8();
    if (!in.Good())
        return ERROR_SHORT;
    const unsigned type = control & CONTROL_TYPE;
    ReadFunction readPayload = FindReader(Key(cluster, type, command));
    if (!readPayload)
        readPayload = FindReader(Key(ANY_CLUSTER, type, command));
    if (!readPayload)
        return ERROR_UNKNOWN;
    Reply read;
    const char* const error = readPayload(in, read);
    if (!error)
        reply = std::move(read);
    return error;
}

void Deliver(const Reply& reply, IZclListener& listener)
{
    switch (reply.kind)
    {
    case Reply::Kind::Silent:
        break;
    case Reply::Kind::GroupMembership:
        listener.OnZclGroupMembership(reply.groups);
        break;
    case Reply::Kind::SceneCount:
        listener.OnZclSceneCount(reply.count);
        break;
    case Reply::Kind::SceneMembership:
        listener.OnZclSceneMembership(reply.group, reply.scenes);
        break;
    case Reply::Kind::ViewScene:
        listener.OnZclViewScene(reply.scene, reply.level, reply.timeMs);
        break;
    case Reply::Kind::AddSceneFailure:
        listener.OnAddSceneFailure(reply.scene, reply.status);
        break;
    }
}
} // namespace zcl
} // namespace embedded_host
