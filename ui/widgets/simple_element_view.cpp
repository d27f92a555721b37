#include "ui/widgets/simple_element_view.h"

namespace qor
{

SimpleElementView::SimpleElementView(EngineProxy& p, const juce::String& elementPath)
    : proxy(p), path(elementPath)
{
    proxy.addElementBoundListener(path, this);
}

SimpleElementView::~SimpleElementView()
{
    proxy.removeElementBoundListener(this);
}

void SimpleElementView::elementBound(const juce::String&, Element* newElement)
{
    element = newElement;
    elementChanged();
}

} // namespace qor
