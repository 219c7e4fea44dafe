#pragma once

#include "lighting_common/AdvSceneElement.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace gen3_lights
{
namespace scenes
{
// The ordered map from key to element inside AdvSceneManager.
//
// The key of an element is its id, so keys are 16 bits wide; any other key is simply not there. The
// order is that of the keys: the first steps of all scenes, then all second steps, and so on. One
// small sorted vector for each scene, because the checksum and the commands read one scene at a
// time. A tree look-up for each step would cost more than the checksum.
//
// Pointers that it gives out hold only until the store is next changed. A walk that calls out in
// between goes by keys: First(), then Next(key), which need no element to be still there.
class AdvSceneStore
{
public:
    // The element with that key, null when there is none.
    const AdvSceneElement* Find(unsigned key) const;
    AdvSceneElement* Find(unsigned key);

    // Adds a copy under its id; an element that is there already stays as it is.
    void Insert(const AdvSceneElement& element);

    // Removes the element with that key; none is no error.
    void Erase(unsigned key);

    void Clear();

    // The element with the lowest key, null when the store is empty.
    const AdvSceneElement* First() const;

    // The element with the lowest key above `key`, null when there is none.
    const AdvSceneElement* Next(unsigned key) const;

    // Calls `change` with each element, in no order that matters. `change` must not change the id
    // and must not call out.
    template <class Change>
    void ForEach(Change change)
    {
        for (Scene& scene : m_scenes)
            for (AdvSceneElement& element : scene.elements)
                change(element);
    }

    // The CRC-32 over the elements of scenes 0 to 254, by ascending scene and index, each scene up
    // to its first missing index. Allocates nothing.
    std::uint32_t Checksum() const;

private:
    // The elements of one scene, sorted by index; bit i of `present` tells that index i is there.
    struct Scene
    {
        unsigned number;
        unsigned present;
        std::vector<AdvSceneElement> elements;
    };

    std::size_t sceneAt(unsigned number) const;
    const Scene* findScene(unsigned key) const;
    const AdvSceneElement* firstInRow(unsigned index, std::size_t from) const;

    // Sorted by number; none is without elements.
    std::vector<Scene> m_scenes;
};
} // namespace scenes
} // namespace gen3_lights
