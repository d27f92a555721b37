#pragma once

#include "files/virtual_file.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace qor
{

class LaminaPlugin;

/** The factory library as the host's own list of programs: "Default" first, then every factory preset in
    browsing order, named "Category/Name". Choosing one loads it into the sheet as the editor's menu would. */
class HostPrograms
{
public:
    /** Lists the library; the archive must be mounted (a plug-in has been made). */
    void scan();

    int size() const { return names.size(); }
    /** Empty for an index outside the list. */
    juce::String getName(int index) const { return names[index]; }
    /** Loads program `index` into the plug-in's sheet; false for a bad index or a failed load. Message
     * thread.
     */
    bool load(LaminaPlugin& plugin, int index);
    /** The program whose file the sheet holds now: a preset chosen in the editor counts too. The last program
        chosen when the sheet holds a file of no program (a user preset). */
    int current(const LaminaPlugin& plugin) const;

private:
    juce::StringArray names;
    /** Beside `names`; empty for "Default". */
    std::vector<VirtualFile> files;
    int lastChosen = 0;
};

} // namespace qor
