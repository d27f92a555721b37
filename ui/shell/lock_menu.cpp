#include "ui/shell/lock_menu.h"

#include "engine/engine.h"
#include "engine/engine_proxy.h"

namespace qor
{

const std::vector<LockablePosition>& lockableParameters()
{
    static const std::vector<LockablePosition> table = {
        {"Mix", 280, 475},         {"LowCutGain", 446, 475}, {"Quality", 425, 380}, {"StereoWidth", 872, 489},
        {"Gain", 1032, 489},       {"Drive", 606, 489},      {"Area", 75, 380},     {"PreDelay", 758, 489},
        {"AspectRatio", 136, 380}, {"Modulation", 357, 380}, {"Decay", 162, 475},   {"Anisotropy", 215, 380},
    };
    return table;
}

bool isLockable(const juce::String& parameterName)
{
    for (const auto& row : lockableParameters())
        if (parameterName == row.parameter)
            return true;
    return false;
}

juce::String lockPropertyKey(const juce::String& parameterName)
{
    return parameterName + "Locked";
}

bool isLocked(const Element& element, const juce::String& parameterName)
{
    return element.getProperty(lockPropertyKey(parameterName)) == "1";
}

void setLocked(Element& element, const juce::String& parameterName, bool locked)
{
    element.setProperty(lockPropertyKey(parameterName), locked ? "1" : "0", false);
}

namespace lockMenu
{

juce::PopupMenu make(const Element& element, const juce::String& parameterName)
{
    juce::PopupMenu menu;
    menu.addItem(lockedItem, "Locked", true, isLocked(element, parameterName));
    menu.addItem(unlockAllItem, "Unlock all Parameters");
    return menu;
}

void apply(Element& element, const juce::String& parameterName, int itemId)
{
    if (itemId == lockedItem)
        setLocked(element, parameterName, !isLocked(element, parameterName));
    else if (itemId == unlockAllItem)
        for (const auto& row : lockableParameters())
            setLocked(element, row.parameter, false);
}

void open(EngineProxy& proxy, const juce::String& path, const juce::String& parameterName,
          juce::Component& target,
          const std::function<void(juce::PopupMenu, juce::Component&, std::function<void(int)>)>& show)
{
    auto* engine = proxy.getEngine();
    auto* element = engine != nullptr ? engine->findElement(path) : nullptr;
    if (element == nullptr || !isLockable(parameterName))
        return;
    show(make(*element, parameterName), target,
         [proxy = &proxy, path, parameterName](int itemId)
         {
             // A menu closed with nothing chosen may outlive its editor; only a choice touches the proxy.
             if (itemId == 0)
                 return;
             auto* now = proxy->getEngine() != nullptr ? proxy->getEngine()->findElement(path) : nullptr;
             if (now != nullptr)
                 apply(*now, parameterName, itemId);
         });
}

void showAsync(juce::PopupMenu menu, juce::Component& target, std::function<void(int)> done)
{
    menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(&target), std::move(done));
}

} // namespace lockMenu

} // namespace qor
