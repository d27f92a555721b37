#include "plugin/plugin_definition.h"

namespace qor
{

uint32_t PluginDefinition::getOtherFormatCode(int) const
{
    return 0;
}

uint32_t LaminaPluginDefinition::getOtherFormatCode(int which) const
{
    // Manufacturer and product codes alternate for the other formats.
    return (which % 2 == 0) ? fourCC("QOR ") : fourCC("QLmT");
}

const PluginDefinition& getPluginDefinition()
{
    static const LaminaPluginDefinition definition;
    return definition;
}

} // namespace qor
