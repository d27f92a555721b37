#pragma once

#include "ui/shell/editor_context.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace qor
{

/** The sheet drawn to scale with its microphones and inputs. Its place in the editor is 10, 92, 456, 296 in
    both layouts; the editor hands it the texture of the current material. Empty for now: it takes no clicks
    and draws nothing. */
class LaminaRectangle : public juce::Component
{
public:
    explicit LaminaRectangle(const EditorContext& context);

    /** The tiled image of the material ("resource/textures/...png"), set on every change of `Material`. */
    void setTexture(const juce::String& texturePath);
    const juce::String& getTexturePath() const { return texturePath; }

private:
    EditorContext context;
    juce::String texturePath;
};

} // namespace qor
