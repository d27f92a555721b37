#pragma once

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

struct LoadBankSettings
{
    double sampleRate = 48000;
    int numInputs = 2;
    int numOutputs = 2;
    bool enableDecayCompensation = true;
    bool enableEQ = true;
    /** Band EQ in dB; no EQ is applied when null. */
    const MonotoneCubicTable* eqTable = nullptr;
};

/** Pushes a table into a bank: count, poles, and gains normalised to unit power per channel, with decay
    compensation and EQ on the outputs. Allocates nothing. */
void loadBank(IModalBank& bank, const LaminaModeTable& table, const LoadBankSettings& settings);

} // namespace qor
