#pragma once

#include "modal/bank/family.h"
#include "modal/bank/imodal_bank.h"
#include "modal/lamina/band_table.h"
#include "modal/lamina/mode_table.h"

namespace qor
{

/** One resonator pole: c + i s = exp((-decayRate + i omega) / sampleRate). */
struct ModePole
{
    double c;
    double s;
};

ModePole modePole(double decayRate, double omega, double sampleRate);

/** The rate at which loadBank's gains are exactly as normalised; at other rates they are scaled so that a
    broadband signal meets the same wet level. */
inline constexpr double levelReferenceRate = 48000;

struct LoadBankSettings
{
    double sampleRate = 48000;
    int numInputs = 2;
    int numOutputs = 2;
    bool enableDecayCompensation = true;
    bool enableEQ = true;
    /** Band EQ in dB; no EQ is applied when null. */
    const MonotoneCubicTable* eqTable = nullptr;
    /** Whose instructions compute the poles: the machine's best, or another that runs here, to compare. */
    modalbank::Family family = modalbank::bestFamily();
};

/** The divisors that bring the table's gains to unit power per channel. */
struct GainNorms
{
    float in = 1;
    float out = 1;
};

/** Pushes a table into a bank: count, poles, and gains normalised to unit power per channel, with decay
    compensation and EQ on the outputs, and the table's levelScale and the rate's level scaling on the inputs.
    Returns the norms it divided by. Allocates nothing. */
GainNorms loadBank(IModalBank& bank, const LaminaModeTable& table, const LoadBankSettings& settings);

/** What a change of damping alters of modes first to first + count - 1, from their decay rates in the table:
    the poles and, through the decay compensation and the level scaling, the input gains, with the norms of
    the last loadBank of the same table. The output gains stay. Allocates nothing. */
void loadPoles(IModalBank& bank, const LaminaModeTable& table, uint32_t first, uint32_t count,
               const LoadBankSettings& settings, GainNorms norms);

} // namespace qor
