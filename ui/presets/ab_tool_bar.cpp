#include "ui/presets/ab_tool_bar.h"

#include "engine/engine.h"
#include "engine/engine_proxy.h"
#include "ui/look/colours.h"

#include <tinyxml2.h>

namespace qor
{

namespace
{
const juce::String abImage = "resource/svg/header_a-b_off_39x26.svg";
const juce::String bToAImage = "resource/svg/header_b-to-a_off_39x26.svg";
const juce::String aToBImage = "resource/svg/header_a-to-b_off_39x26.svg";
constexpr const char* memoryRoot = "Preset";
} // namespace

ABToolBar::ABToolBar(const EditorContext& c)
    : context(c), abButton("A/B", abImage, {colours::toggleOff, colours::toggleOver, colours::toggleOn}),
      presetDisplay(c)
{
    setComponentID("ABToolBar");
    // The bar lies over the editor: only its buttons take clicks.
    setInterceptsMouseClicks(false, true);
    abButton.setTooltip("Store Current State to Memory A");
    abButton.onClick = [this] { clickAB(); };
    addAndMakeVisible(abButton);
    addAndMakeVisible(presetDisplay);
}

void ABToolBar::resized()
{
    abButton.setBounds(12, 10, 39, 26);
    presetDisplay.setBounds(ModulePresetDisplay::placeInToolBar());
}

void ABToolBar::clickAB()
{
    auto* engine = context.proxy.getEngine();
    auto* element = engine != nullptr ? engine->findElement(context.elementPath) : nullptr;
    if (element == nullptr)
        return;
    swap(*element);
    if (abState == 1)
    {
        abButton.setImage(aToBImage);
        abButton.setTooltip("Store Current State to Memory A and restore Memory B");
        abState = 2;
    }
    else if (abState == 2)
    {
        abButton.setImage(bToAImage);
        abButton.setTooltip("Store Current State to Memory B and restore Memory A");
        abState = 1;
    }
    else
    {
        abButton.setImage(abImage);
        abButton.setTooltip("Store Current State to Memory B and restore Memory A");
        abState = 1;
    }
}

void ABToolBar::swap(Element& element)
{
    const juce::ScopedLock lock(element.getLock());

    tinyxml2::XMLDocument current;
    auto* root = current.NewElement(memoryRoot);
    current.InsertEndChild(root);
    element.saveToXml(root, SaveContext{});
    tinyxml2::XMLPrinter printer;
    current.Print(&printer);
    const auto stored = juce::String::fromUTF8(printer.CStr());

    const auto other = element.getProperty(memoryProperty);
    if (other.isNotEmpty())
    {
        tinyxml2::XMLDocument memory;
        if (memory.Parse(other.toRawUTF8()) == tinyxml2::XML_SUCCESS && memory.RootElement() != nullptr &&
            std::strcmp(memory.RootElement()->Name(), memoryRoot) == 0)
            if (const auto* saved = memory.RootElement()->FirstChildElement())
            {
                const auto versionKey = element.getTypeName().toString() + "Version";
                element.loadFromXml(saved, LoadContext{}, saved->IntAttribute(versionKey.toRawUTF8(), 0));
            }
    }
    element.setProperty(memoryProperty, stored, false);
}

} // namespace qor
