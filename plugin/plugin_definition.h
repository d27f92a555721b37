#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace qor
{

/** Inputs and outputs of one channel configuration. */
struct ChannelConfig
{
    uint32_t inputs = 2;
    uint32_t outputs = 2;

    bool operator==(const ChannelConfig&) const = default;
};

/** Four-character code as hosts know it. */
constexpr uint32_t fourCC(const char (&c)[5])
{
    return (static_cast<uint32_t>(static_cast<unsigned char>(c[0])) << 24) |
           (static_cast<uint32_t>(static_cast<unsigned char>(c[1])) << 16) |
           (static_cast<uint32_t>(static_cast<unsigned char>(c[2])) << 8) |
           static_cast<uint32_t>(static_cast<unsigned char>(c[3]));
}

/** The static description of a product: constant answers, so that one shell serves many products. */
class PluginDefinition
{
public:
    virtual ~PluginDefinition() = default;

    virtual juce::String getManufacturerName() const { return {}; }
    virtual juce::String getManufacturerShortName() const { return {}; }
    virtual juce::String getManufacturerKey() const { return {}; }
    virtual juce::String getBundleIdentifier() const { return {}; }
    virtual juce::String getProductKey() const { return {}; }
    virtual juce::String getProductName() const { return {}; }
    virtual juce::String getProductFolder() const { return {}; }
    virtual juce::String getPresetExtension() const { return {}; }
    virtual juce::String getVersionString() const { return {}; }
    virtual uint32_t getVersionCode() const { return 0; }
    virtual uint32_t getNumInputBuses() const { return 0; }
    virtual uint32_t getNumOutputBuses() const { return 1; }
    virtual bool isEffect() const { return true; }
    virtual bool isInstrument() const { return false; }
    virtual bool wantsMidi() const { return false; }
    virtual uint32_t getNumAuxOutputs() const { return 0; }
    virtual juce::String getAuxOutputName(uint32_t index) const { return "Out " + juce::String(index + 2); }
    virtual const int32_t* getAuxOutputLayouts() const { return nullptr; }
    virtual uint32_t getNumChannelConfigs() const { return 0; }
    virtual std::vector<ChannelConfig> getChannelConfigs() const { return {}; }
    virtual int32_t getEditorWidth() const { return 0; }
    virtual int32_t getEditorHeight() const { return 0; }
    virtual uint32_t getPluginCode() const { return 0; }
    virtual juce::String getManufacturerNames() const { return {}; }
    virtual uint32_t getManufacturerCode() const { return 0; }
    virtual juce::String getProductNames() const { return {}; }
    virtual uint32_t getAlternateCode() const { return 0; }
    virtual uint32_t getStateChunkCode() const { return 0; }
    virtual uint32_t getProductCode() const { return 0; }
    virtual uint32_t getManufacturerCodeAax() const { return 0; }
    virtual uint32_t getCategory() const { return 0; }
    virtual uint32_t getOtherFormatCode(int which) const;
    virtual juce::String getOtherFormatIdentifier(int) const { return "0000000000000000"; }
    virtual bool usesLicence() const { return false; }
    virtual bool hidesFromLists() const { return false; }
};

class LaminaPluginDefinition final : public PluginDefinition
{
public:
    juce::String getManufacturerName() const override { return "QOR"; }
    juce::String getManufacturerShortName() const override { return "QOR"; }
    juce::String getManufacturerKey() const override { return "audio.qor"; }
    juce::String getBundleIdentifier() const override { return getManufacturerKey() + ".Lamina"; }
    juce::String getProductKey() const override { return "Lamina"; }
    juce::String getProductName() const override { return "Lamina"; }
    juce::String getProductFolder() const override { return "Lamina"; }
    juce::String getPresetExtension() const override { return "preset"; }
    juce::String getVersionString() const override { return "1.0.0"; }
    uint32_t getVersionCode() const override { return 0x10000; }
    uint32_t getNumInputBuses() const override { return 0; }
    uint32_t getNumOutputBuses() const override { return 1; }
    bool isEffect() const override { return true; }
    bool isInstrument() const override { return false; }
    bool wantsMidi() const override { return false; }
    uint32_t getNumAuxOutputs() const override { return 0; }
    uint32_t getNumChannelConfigs() const override { return 3; }
    std::vector<ChannelConfig> getChannelConfigs() const override { return {{2, 2}, {1, 2}, {1, 1}}; }
    int32_t getEditorWidth() const override { return 508; }
    int32_t getEditorHeight() const override { return 555; }
    uint32_t getPluginCode() const override { return fourCC("QLmT"); }
    juce::String getManufacturerNames() const override { return "QOR\nQOR"; }
    uint32_t getManufacturerCode() const override { return fourCC("QOR "); }
    juce::String getProductNames() const override { return "Lamina\nLamina\n"; }
    uint32_t getAlternateCode() const override { return fourCC("QLmT"); }
    uint32_t getStateChunkCode() const override { return fourCC("QLmT"); }
    uint32_t getProductCode() const override { return fourCC("QLmT"); }
    uint32_t getManufacturerCodeAax() const override { return fourCC("QOR "); }
    uint32_t getCategory() const override { return 8; }
    uint32_t getOtherFormatCode(int which) const override;
    bool usesLicence() const override { return false; }
    bool hidesFromLists() const override { return false; }
};

/** The process-wide definition, made on first use. */
const PluginDefinition& getPluginDefinition();

} // namespace qor
