#include "ui/widgets/param_combo_box.h"

#include "ui/widgets/param_slider.h"

namespace qor
{

ParamComboBox::ParamComboBox()
{
    setComponentID("ParamComboBox");
    onChange = [this]
    {
        if (getElement() == nullptr || getSelectedId() == 0 || getKind() != Kind::integer)
            return;
        const auto* d = static_cast<const ParameterDescription<int>*>(getParameterDescription());
        beginGesture();
        setParameterValue(float(d->range.min + getSelectedId() - 1));
        endGesture();
    };
}

void ParamComboBox::rebuildItems()
{
    if (getKind() != Kind::integer)
        return;
    const auto* d = static_cast<const ParameterDescription<int>*>(getParameterDescription());
    const int count = d->range.max - d->range.min + 1;
    if (count == itemCount)
        return;
    itemCount = count;
    clear(juce::dontSendNotification);
    for (int v = d->range.min; v <= d->range.max; ++v)
        addItem(d->format(v), v - d->range.min + 1);
}

void ParamComboBox::parameterValueChanged()
{
    rebuildItems();
    if (getKind() == Kind::integer)
    {
        const auto* d = static_cast<const ParameterDescription<int>*>(getParameterDescription());
        setSelectedId(juce::roundToInt(getParameterValue()) - d->range.min + 1, juce::dontSendNotification);
    }
}

void ParamComboBox::showPopup()
{
    const int height = getProperties().getWithDefault("menuHeight", 0);
    auto* menu = getRootMenu();
    if (height <= 0 || menu == nullptr)
    {
        juce::ComboBox::showPopup();
        return;
    }
    juce::PopupMenu items;
    for (juce::PopupMenu::MenuItemIterator it(*menu); it.next();)
    {
        auto item = it.getItem();
        item.isTicked = item.itemID == getSelectedId();
        items.addItem(item);
    }
    juce::Component::SafePointer<ParamComboBox> safe(this);
    items.showMenuAsync(
        juce::PopupMenu::Options().withTargetComponent(this).withStandardItemHeight(height).withMinimumWidth(
            getWidth()),
        [safe](int id)
        {
            if (safe != nullptr && id != 0)
                safe->setSelectedId(id);
        });
}

void ParamComboBox::mouseDown(const juce::MouseEvent& e)
{
    if (e.mods.isPopupMenu())
    {
        if (hasFlag(ParamSlider::menuFlag))
        {
            juce::PopupMenu menu;
            menu.addItem("Set to default (" + formatValue(getDefaultValue()) + ")",
                         [this] { resetToDefault(); });
            menu.showMenuAsync(juce::PopupMenu::Options().withTargetComponent(this));
        }
        return;
    }
    juce::ComboBox::mouseDown(e);
}

} // namespace qor
