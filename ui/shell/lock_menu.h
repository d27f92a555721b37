#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace qor
{

class Element;
class EngineProxy;

/** A parameter that the preset loader can be told to leave alone, and where its padlock stands in the editor.
 */
struct LockablePosition
{
    const char* parameter;
    int x;
    int y;
};

/** The table of lockable parameters. */
const std::vector<LockablePosition>& lockableParameters();
bool isLockable(const juce::String& parameterName);
/** The element property that holds a lock: "<ParameterName>Locked", "1" or "0", not saved with the element.
 */
juce::String lockPropertyKey(const juce::String& parameterName);
bool isLocked(const Element& element, const juce::String& parameterName);
void setLocked(Element& element, const juce::String& parameterName, bool locked);

/** The right-button menu of a lockable widget: 1 "Locked" (ticked while locked) toggles this parameter's
   lock, 2 "Unlock all Parameters" clears every lock of the table. */
namespace lockMenu
{
constexpr int lockedItem = 1;
constexpr int unlockAllItem = 2;

juce::PopupMenu make(const Element& element, const juce::String& parameterName);
/** Acts on a choice of the menu (0, nothing chosen, does nothing). */
void apply(Element& element, const juce::String& parameterName, int itemId);
/** Opens the menu at `target` through `show`, and acts on the choice on the element that `path` names then
    (it may have changed while the menu was open). */
void open(EngineProxy& proxy, const juce::String& path, const juce::String& parameterName,
          juce::Component& target,
          const std::function<void(juce::PopupMenu, juce::Component&, std::function<void(int)>)>& show);
/** Shows a menu asynchronously at a component, as the editor does. */
void showAsync(juce::PopupMenu menu, juce::Component& target, std::function<void(int)> done);
} // namespace lockMenu

} // namespace qor
