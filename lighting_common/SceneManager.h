#pragma once

#include "lighting_common/Export.h"

#include <cstddef>
#include <map>

#include <boost/shared_ptr.hpp>

namespace nx
{
class XmlNode;
}

// What one output does in one scene.
struct SceneDetail
{
    // The level in the scene, in percent, as the scene command gave it; not checked.
    int level = 0;
    // The ramp time to that level, in milliseconds; not checked.
    int time = 0;
};

// The scenes that one light output belongs to: for each scene id the output's level in the scene
// and its ramp time. A plain, persisted record: it sends nothing and tells nobody.
//
// Not for the light's own scene table; what the light holds is LightSceneMember's business.
// Owned by whoever keeps the output (a driver, a load group). Lives on the driver's thread.
// Invariant: a scene id occurs at most once; scenes are ordered by ascending id.
// A broken precondition is reported through the host's assertion writer; when that returns, nothing
// has changed.
class LIGHTING_COMMON_API SceneManager
{
public:
    // Ordered by ascending scene id.
    using SceneMap = std::map<unsigned, SceneDetail>;

    // No scenes.
    SceneManager();
    virtual ~SceneManager();

    // Adds a scene. Asserts that `id` is new; an entry that is there stays as it is.
    void addScene(unsigned id, int level, int time);

    // Overwrites level and time of a scene. Asserts that `id` is there; an absent id stays absent.
    void modifyScene(unsigned id, int level, int time);

    // Removes a scene. An id that is not there is no error and changes nothing.
    void deleteScene(unsigned id);

    // Removes every scene.
    void deleteAllScenes();

    // Whether the output belongs to that scene.
    bool inScene(unsigned id) const;

    // The scene's level and time. Asserts that `id` is there; an absent id gives level 0, time 0.
    SceneDetail getDetail(unsigned id) const;

    // All scenes; the reference holds until the next change.
    const SceneMap& getAllScenes() const;

    // How many scenes there are.
    std::size_t NumScenes() const;

    // The scenes as a new element, never null:
    // <SceneMap><SceneMapEntry><SceneID>5</SceneID><Level>100</Level><Time>2000</Time>
    // </SceneMapEntry>...</SceneMap>, in ascending order of id (persisted form, do not change).
    boost::shared_ptr<nx::XmlNode> ToXML() const;

    // Replaces all scenes by those of the first "SceneMap" child of `node` (the parent of what
    // ToXML wrote). Without such a child, or with a null node, the scenes stay as they are: a saved
    // state without scenes does not wipe scenes that are held. Of an id that occurs twice the first
    // entry counts; children other than "SceneMapEntry" are skipped; missing numbers read as 0.
    void FromXML(const boost::shared_ptr<nx::XmlNode>& node);

private:
    SceneMap m_scenes;
};
