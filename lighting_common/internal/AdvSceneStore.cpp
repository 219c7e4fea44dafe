#include "lighting_common/internal/AdvSceneStore.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <boost/crc.hpp>
#include <boost/endian/conversion.hpp>

namespace gen3_lights
{
namespace scenes
{
namespace
{
constexpr unsigned MAX_KEY = 0xffff;
constexpr unsigned INDICES = 16;

// Deliberate: the device's checksum leaves out the scenes from here on.
constexpr unsigned FIRST_SCENE_NOT_SUMMED = 255;

constexpr std::size_t SUMMED_BYTES = 12;
constexpr std::size_t BLOCK_BYTES = 256 * SUMMED_BYTES;

unsigned SceneOf(unsigned key)
{
    return key & AdvSceneElement::SCENE_MASK;
}

unsigned IndexOf(unsigned key)
{
    return key >> AdvSceneElement::INDEX_SHIFT;
}

bool Holds(unsigned present, unsigned index)
{
    return (present >> index & 1u) != 0;
}

// How many of the indices below `index` are there: the place of that index among the elements.
std::size_t PlaceOf(unsigned present, unsigned index)
{
    return static_cast<std::size_t>(__builtin_popcount(present & ((1u << index) - 1u)));
}

// Whole numbers at a time: octet by octet, the compiler makes four times as many instructions.
unsigned char* PutSummedBytes(unsigned char* out, const AdvSceneElement& element)
{
    boost::endian::store_big_u16(out, element.id);
    boost::endian::store_big_u32(out + 2, element.delay);
    boost::endian::store_big_u32(out + 6, element.levelRate);
    out[10] = element.level;
    out[11] = element.flags;
    return out + SUMMED_BYTES;
}
} // namespace

std::size_t AdvSceneStore::sceneAt(unsigned number) const
{
    const auto at =
        std::lower_bound(m_scenes.begin(), m_scenes.end(), number,
                         [](const Scene& scene, unsigned wanted) { return scene.number < wanted; });
    return static_cast<std::size_t>(std::distance(m_scenes.begin(), at));
}

const AdvSceneStore::Scene* AdvSceneStore::findScene(unsigned key) const
{
    if (key > MAX_KEY)
        return nullptr;
    const std::size_t at = sceneAt(SceneOf(key));
    if (at == m_scenes.size() || m_scenes[at].number != SceneOf(key))
        return nullptr;
    return &m_scenes[at];
}

const AdvSceneElement* AdvSceneStore::Find(unsigned key) const
{
    const Scene* scene = findScene(key);
    if (scene == nullptr || !Holds(scene->present, IndexOf(key)))
        return nullptr;
    return &scene->elements[PlaceOf(scene->present, IndexOf(key))];
}

AdvSceneElement* AdvSceneStore::Find(unsigned key)
{
    return const_cast<AdvSceneElement*>(static_cast<const AdvSceneStore*>(this)->Find(key));
}

void AdvSceneStore::Insert(const AdvSceneElement& element)
{
    const unsigned number = SceneOf(element.id);
    const unsigned index = IndexOf(element.id);
    const std::size_t at = sceneAt(number);
    if (at == m_scenes.size() || m_scenes[at].number != number)
        m_scenes.insert(m_scenes.begin() + static_cast<std::ptrdiff_t>(at), Scene{number, 0, {}});
    Scene& scene = m_scenes[at];
    if (Holds(scene.present, index))
        return;
    const auto place = static_cast<std::ptrdiff_t>(PlaceOf(scene.present, index));
    scene.elements.insert(scene.elements.begin() + place, element);
    scene.present |= 1u << index;
}

void AdvSceneStore::Erase(unsigned key)
{
    if (Find(key) == nullptr)
        return;
    const std::size_t at = sceneAt(SceneOf(key));
    Scene& scene = m_scenes[at];
    const auto place = static_cast<std::ptrdiff_t>(PlaceOf(scene.present, IndexOf(key)));
    scene.elements.erase(scene.elements.begin() + place);
    scene.present &= ~(1u << IndexOf(key));
    if (scene.present == 0)
        m_scenes.erase(m_scenes.begin() + static_cast<std::ptrdiff_t>(at));
}

void AdvSceneStore::Clear()
{
    m_scenes.clear();
}

// The first element with that index in the scenes from place `from` on; past the last scene, with
// the next index from the first scene on.
const AdvSceneElement* AdvSceneStore::firstInRow(unsigned index, std::size_t from) const
{
    for (; index < INDICES; ++index, from = 0)
    {
        for (std::size_t at = from; at < m_scenes.size(); ++at)
        {
            const Scene& scene = m_scenes[at];
            if (Holds(scene.present, index))
                return &scene.elements[PlaceOf(scene.present, index)];
        }
    }
    return nullptr;
}

const AdvSceneElement* AdvSceneStore::First() const
{
    return firstInRow(0, 0);
}

const AdvSceneElement* AdvSceneStore::Next(unsigned key) const
{
    if (key >= MAX_KEY)
        return nullptr;
    return firstInRow(IndexOf(key + 1), sceneAt(SceneOf(key + 1)));
}

std::uint32_t AdvSceneStore::Checksum() const
{
    // Gathered into blocks: one call for each element would cost more than the summing.
    std::array<unsigned char, BLOCK_BYTES> block;
    unsigned char* const end = block.data() + block.size();
    unsigned char* out = block.data();
    boost::crc_32_type crc;
    for (const Scene& scene : m_scenes)
    {
        if (scene.number >= FIRST_SCENE_NOT_SUMMED)
            break;
        for (unsigned index = 0; Holds(scene.present, index); ++index)
        {
            out = PutSummedBytes(out, scene.elements[index]);
            if (out != end)
                continue;
            crc.process_bytes(block.data(), block.size());
            out = block.data();
        }
    }
    crc.process_bytes(block.data(), static_cast<std::size_t>(out - block.data()));
    return crc.checksum();
}
} // namespace scenes
} // namespace gen3_lights
