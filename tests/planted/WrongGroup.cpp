#include "tests/planted/PlantedDriver.h"

namespace
{
// A light that keeps scenes in groups. Before a scene is stored the light is asked whether it is in
// the group, which takes a while. The defect: the group of the last question is remembered once for
// all questions, so two that overlap store both scenes in the same group. It is seen when the first
// scene is recalled.
class WrongGroup : public planted::PlantedDriver
{
public:
    explicit WrongGroup(IInstanceManager& instances) : PlantedDriver(instances)
    {
        On("STORE", [this](const ICmdMessage& message)
           { Ask(message.GetParamInt("SCENE"), message.GetParamInt("GROUP")); });
        On("RECALL", [this](const ICmdMessage& message)
           { Recall(message.GetParamInt("SCENE"), message.GetParamInt("GROUP")); });
    }

private:
    void Ask(int scene, int group)
    {
        m_askedGroup = group;
        After(Random(20, 400), [this, scene, group] { Store(scene, group); });
    }

    void Store(int scene, int group)
    {
        m_groups[scene] = m_askedGroup;
        if (m_askedGroup != group)
            TellTruth("scene " + std::to_string(scene) + " stored in a wrong group");
    }

    void Recall(int scene, int group)
    {
        const auto stored = m_groups.find(scene);
        if (stored != m_groups.end() && stored->second != group)
            ShowSymptom();
    }

    int m_askedGroup = 0;
    std::map<int, int> m_groups;
};
} // namespace

extern "C" NxBaseDriver* CreateDriver(IInstanceManager& instances)
{
    return new WrongGroup(instances);
}
