#include "ui/look/resource_images.h"

#include "files/virtual_file.h"

#include <cmath>
#include <map>

namespace qor
{

juce::String ResourceImage::archivePath(const juce::String& path)
{
    return path.startsWithChar('$') || path.startsWithChar('/') ? path : "$Resource/" + path;
}

juce::String ResourceImage::resolve(const juce::String& path, float scale)
{
    const auto full = archivePath(path);
    const int dot = full.lastIndexOfChar('.');
    if (scale > 1.0f && dot > full.lastIndexOfChar('/'))
        for (int n = std::min(4, int(std::ceil(scale - 0.001f))); n >= 2; --n)
        {
            const auto twin = full.substring(0, dot) + "@" + juce::String(n) + "x" + full.substring(dot);
            if (VirtualFile(twin).exists())
                return twin;
        }
    return full;
}

juce::Rectangle<float> ResourceImage::sizeFromName(const juce::String& path)
{
    const auto name = path.fromLastOccurrenceOf("/", false, false)
                          .upToLastOccurrenceOf(".", false, false)
                          .upToFirstOccurrenceOf("@", false, false);
    const auto size = name.fromLastOccurrenceOf("_", false, false);
    const auto w = size.upToFirstOccurrenceOf("x", false, false);
    const auto h = size.fromFirstOccurrenceOf("x", false, false);
    if (w.isEmpty() || h.isEmpty() || !w.containsOnly("0123456789") || !h.containsOnly("0123456789"))
        return {};
    return {0.0f, 0.0f, float(w.getIntValue()), float(h.getIntValue())};
}

std::shared_ptr<const ResourceImage> ResourceImage::load(const juce::String& path, float scale)
{
    // Shared while someone shows it: a closed editor lets its backgrounds go.
    static std::map<juce::String, std::weak_ptr<const ResourceImage>> cache;
    const auto file = resolve(path, scale);
    if (auto cached = cache[file].lock())
        return cached;

    auto in = VirtualFile(file).openInput();
    if (in == nullptr)
        return nullptr;
    juce::MemoryBlock data;
    in->readIntoMemoryBlock(data);

    auto image = std::make_shared<ResourceImage>();
    image->file = file;
    if (file.endsWithIgnoreCase(".svg"))
    {
        image->drawable = juce::Drawable::createFromImageData(data.getData(), data.getSize());
        if (image->drawable == nullptr)
            return nullptr;
        image->logicalBounds = sizeFromName(file);
        if (image->logicalBounds.isEmpty())
            image->logicalBounds = image->drawable->getDrawableBounds();
    }
    else
    {
        image->bitmap = juce::ImageFileFormat::loadFrom(data.getData(), data.getSize());
        if (!image->bitmap.isValid())
            return nullptr;
        const auto marker = file.fromLastOccurrenceOf("@", false, false);
        const float density = file.containsChar('@') ? float(std::max(1, marker.getIntValue())) : 1.0f;
        image->logicalBounds = {0.0f, 0.0f, float(image->bitmap.getWidth()) / density,
                                float(image->bitmap.getHeight()) / density};
    }
    cache[file] = image;
    return image;
}

void ResourceImage::draw(juce::Graphics& g, juce::Rectangle<float> area, float opacity) const
{
    if (area.isEmpty())
        return;
    if (drawable != nullptr)
    {
        // The drawing's own coordinates span the size in its name.
        const auto from = logicalBounds.isEmpty() ? drawable->getDrawableBounds() : logicalBounds;
        drawable->draw(g, opacity,
                       juce::AffineTransform::fromTargetPoints(from.getTopLeft(), area.getTopLeft(),
                                                               from.getTopRight(), area.getTopRight(),
                                                               from.getBottomLeft(), area.getBottomLeft()));
        return;
    }
    const juce::Graphics::ScopedSaveState state(g);
    g.setOpacity(opacity);
    g.setImageResamplingQuality(juce::Graphics::highResamplingQuality);
    g.drawImage(bitmap, area, juce::RectanglePlacement::stretchToFit);
}

juce::Image ResourceImage::render(juce::Rectangle<int> area, float scale) const
{
    const int w = std::max(1, juce::roundToInt(float(area.getWidth()) * scale));
    const int h = std::max(1, juce::roundToInt(float(area.getHeight()) * scale));
    juce::Image out(juce::Image::ARGB, w, h, true);
    juce::Graphics g(out);
    draw(g, {0.0f, 0.0f, float(w), float(h)});
    return out;
}

} // namespace qor
