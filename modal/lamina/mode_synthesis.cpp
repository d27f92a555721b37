#include "modal/lamina/mode_synthesis.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>

namespace qor
{

namespace
{

/** A row of the working list: the table's fields but the phase, plus the importance used by the cut. */
struct WorkingRow
{
    double decayRate;
    double omega;
    double inputGain[2];
    double outputGain[2];
    double importance;
};

/** The level is fixed by the first build of the process that reaches the test; later changes of the threshold
    are not seen. */
float truncationLevel(float thresholdDb)
{
    static const float level = static_cast<float>(std::pow(10.0, thresholdDb * 0.05));
    return level;
}

/** A transducer point in scaled metres, kept off the edges. */
struct Point
{
    float x;
    float y;
};

Point placePoint(float fractionX, float fractionY, double lengthX, double lengthY)
{
    const double x = std::clamp(fractionX * lengthX, 0.01 * lengthX, 0.99 * lengthX);
    const double y = std::clamp(fractionY * lengthY, 0.01 * lengthY, 0.99 * lengthY);
    return {static_cast<float>(x), static_cast<float>(y)};
}

/** One axis of the mode shape at a point. The plain shape is sin(x kx) * 4 * sin(y ky) and the cell-averaged
   one
    ((U + U) / (kx dx)) * ((V + V) / (ky dx)); each factor depends on one axis only, so they are computed once
   for each m and each n. The plain form's 4 is applied when the factors are joined. */
float shapeFactor(float position, float waveNumber, float cellSize, bool average)
{
    if (!average)
        return std::sin(position * waveNumber);
    const float half = cellSize * 0.5f;
    const float u = std::cos((position + half) * waveNumber) - std::cos((position - half) * waveNumber);
    return (u + u) / (waveNumber * cellSize);
}

float joinShape(float alongX, float alongY, bool average)
{
    return average ? alongX * alongY : alongX * 4.0f * alongY;
}

double importanceOf(const WorkingRow& row, int numInputs, int numOutputs)
{
    double in = 0;
    for (int i = 0; i < numInputs; ++i)
    {
        const float a = static_cast<float>(row.inputGain[i]);
        in += static_cast<double>(a * a);
    }
    double out = 0;
    for (int j = 0; j < numOutputs; ++j)
    {
        const float b = static_cast<float>(row.outputGain[j]);
        out += static_cast<double>(b * b);
    }
    return in * out;
}

/** Power sums of a set of rows, in the terms of loadBank's normalisation: with gains divided by the root of
    their power per channel, a broadband signal hears the rows at nIn * nOut * transfer / (in * out), since a
    mode passes the product of its input and output power (with decay compensation, whatever its decay). */
struct TransferSums
{
    double in = 0;
    double out = 0;
    double transfer = 0;

    double level() const { return in > 0 && out > 0 ? transfer / (in * out) : 0; }
};

/** The sums over the `count` rows of highest importance; rows that tie at the last place share it evenly, so
    the answer does not depend on the order the rows are in. */
TransferSums strongestRowsSums(const std::vector<WorkingRow>& rows, size_t count, int numInputs,
                               int numOutputs)
{
    double threshold = -1;
    if (count < rows.size())
    {
        std::vector<double> importances(rows.size());
        for (size_t k = 0; k < rows.size(); ++k)
            importances[k] = rows[k].importance;
        std::nth_element(importances.begin(), importances.begin() + static_cast<std::ptrdiff_t>(count - 1),
                         importances.end(), std::greater<>());
        threshold = importances[count - 1];
    }
    size_t above = 0, tied = 0;
    for (const WorkingRow& row : rows)
    {
        above += row.importance > threshold ? 1 : 0;
        tied += row.importance == threshold ? 1 : 0;
    }
    const double tieWeight = tied > 0 ? static_cast<double>(count - std::min(count, above)) / tied : 0;

    TransferSums sums;
    for (const WorkingRow& row : rows)
    {
        const double weight = row.importance > threshold ? 1 : row.importance == threshold ? tieWeight : 0;
        if (weight == 0)
            continue;
        double in = 0, out = 0;
        for (int i = 0; i < numInputs; ++i)
            in += row.inputGain[i] * row.inputGain[i];
        for (int j = 0; j < numOutputs; ++j)
            out += row.outputGain[j] * row.outputGain[j];
        sums.in += weight * in;
        sums.out += weight * out;
        sums.transfer += weight * in * out;
    }
    return sums;
}

} // namespace

int laminaRand()
{
    thread_local uint32_t state = 1;
    state = state * 214013u + 2531011u;
    return static_cast<int>((state >> 16) & 32767u);
}

DampingSettings makeDampingSettings(const ModeSynthesisInputs& inputs, const LaminaMaterial& material,
                                    LaminaDimensions dims)
{
    DampingSettings settings;
    settings.thermalDampMult = inputs.thermalDampMult;
    settings.decay = inputs.decay;
    settings.thermalFreqMult = inputs.thermalFreqMult;
    settings.radiationFreqMult = inputs.radiationFreqMult;
    settings.radiationMult = inputs.radiationMult;
    settings.porousFreq = inputs.porousFreq;
    settings.viscousDepth = dampingDepth(inputs.enableViscousDamp, inputs.viscousDamp);
    settings.porousDepth = dampingDepth(inputs.enablePorousDamp, inputs.porousDamp);
    settings.radiationDepth = dampingDepth(inputs.enableRadiationDamp, inputs.radiationDamp);
    settings.bandDepth = dampingDepth(inputs.enableBandDamp, inputs.bandDamp);
    settings.material = material;
    settings.dims = dims;
    return settings;
}

DampingSettings makeDampingSettings(const ModeSynthesisInputs& inputs)
{
    return makeDampingSettings(inputs, materialAt(inputs.material),
                               laminaDimensions(inputs.area, inputs.aspectRatio));
}

LaminaGrid laminaGrid(float area, float aspectRatio, int materialIndex)
{
    LaminaGrid grid{};
    grid.material = materialAt(materialIndex);
    const LaminaMaterial& steel = laminaMaterials[0];
    grid.stiffness = laminaStiffness(grid.material);
    grid.scale = laminaScale(grid.material);
    grid.cellSize = 0.01 * grid.scale;
    grid.dims = laminaDimensions(area, aspectRatio);
    grid.lengthX = static_cast<double>(grid.dims.width) * grid.scale;
    grid.lengthY = static_cast<double>(grid.dims.height) * grid.scale;
    const double perCell = 1 / grid.cellSize;
    // A side that is no number (NaN from a negative area, say) has no cells.
    auto cells = [perCell](double length)
    {
        const double n = std::trunc(length * perCell);
        return n >= 0.0 ? static_cast<int>(std::min(n, 1000.0)) : 0;
    };
    grid.nx = cells(grid.lengthX);
    grid.ny = cells(grid.lengthY);
    grid.steelArealMass = steel.thickness * steel.density;
    return grid;
}

std::shared_ptr<LaminaModeTable> computeModeTable(const ModeSynthesisInputs& inputs)
{
    MonotoneCubicTable bandDecayTable;
    setBandDecayTable(bandDecayTable, inputs.bandDecay);

    const LaminaGrid grid = laminaGrid(inputs.area, inputs.aspectRatio, inputs.material);
    const DampingSettings damping = makeDampingSettings(inputs, grid.material, grid.dims);
    const int numInputs = std::clamp(inputs.numInputs, 0, 2);
    const int numOutputs = std::clamp(inputs.numOutputs, 0, 2);
    const bool average = inputs.enableSpatialAA;

    std::vector<WorkingRow> rows;
    if (grid.nx >= 2 && grid.ny >= 2)
        rows.reserve(static_cast<size_t>(grid.nx) * static_cast<size_t>(grid.ny));

    // Left input, right input, left microphone, right microphone.
    constexpr int numPoints = 4;
    const Point points[numPoints] = {
        placePoint(inputs.leftInputX, inputs.leftInputY, grid.lengthX, grid.lengthY),
        placePoint(inputs.rightInputX, inputs.rightInputY, grid.lengthX, grid.lengthY),
        placePoint(inputs.leftMicrophoneX, inputs.leftMicrophoneY, grid.lengthX, grid.lengthY),
        placePoint(inputs.rightMicrophoneX, inputs.rightMicrophoneY, grid.lengthX, grid.lengthY),
    };
    const float cellSize = static_cast<float>(grid.cellSize);

    const float fc = std::min(inputs.modesCutoff, static_cast<float>(inputs.sampleRate) * 0.8f * 0.5f);
    const double nyquist = inputs.sampleRate * 0.5;

    // Everything that depends on n alone, computed once for the whole build.
    const int ny = std::max(grid.ny, 1);
    std::vector<double> kySquared(static_cast<size_t>(ny));
    std::vector<float> shapeY(static_cast<size_t>(ny) * numPoints);
    for (int n = 1; n < grid.ny; ++n)
    {
        const double ky = laminaWaveNumberY(grid, n);
        kySquared[static_cast<size_t>(n)] = ky * ky;
        for (int p = 0; p < numPoints; ++p)
            shapeY[static_cast<size_t>(n) * numPoints + static_cast<size_t>(p)] =
                shapeFactor(points[p].y, static_cast<float>(ky), cellSize, average);
    }

    for (int m = 1; m < grid.nx; ++m)
    {
        const double mx = laminaModeX(grid, m);
        const double mxTerm = mx * mx * 9.869604401089358;
        const float kx = static_cast<float>(mx * 3.141592653589793);
        float shapeX[numPoints];
        for (int p = 0; p < numPoints; ++p)
            shapeX[p] = shapeFactor(points[p].x, kx, cellSize, average);

        for (int n = 1; n < grid.ny; ++n)
        {
            const double k2 = kySquared[static_cast<size_t>(n)] + mxTerm;
            const int r = laminaRand();
            const float e = (static_cast<float>(r) * 6.103702e-07f - 0.01f) * inputs.anisotropy;
            const double omega = laminaModeOmega(grid, k2, inputs.tension, e);
            const double f = omega * 0.15915494309189535;
            const double ratio = f / fc;
            const double ratio2 = ratio * ratio;
            const double ratio4 = ratio2 * ratio2;
            const double g = 1 / (1 + ratio4 * ratio4);
            if (!(0 < f && f < nyquist))
                continue;
            // The test looks at the low-pass alone; damping and shapes are only worked out for rows that
            // stay.
            if (!(g > truncationLevel(inputs.modeTruncationThreshold)))
                continue;

            WorkingRow row{};
            row.omega = omega;
            row.decayRate = damping.rateAt(static_cast<float>(f), bandDecayTable);
            const float* atY = &shapeY[static_cast<size_t>(n) * numPoints];
            for (int i = 0; i < numInputs; ++i)
                row.inputGain[i] = joinShape(shapeX[i], atY[i], average) * g;
            for (int j = 0; j < numOutputs; ++j)
                row.outputGain[j] = joinShape(shapeX[2 + j], atY[2 + j], average) * g;
            rows.push_back(row);
        }
    }

    const size_t modeLimit = static_cast<size_t>(qualityAt(inputs.quality).modeLimit);
    const size_t referenceLimit = static_cast<size_t>(qualityAt(defaultQuality).modeLimit);
    const bool levelMoves = modeLimit != referenceLimit && rows.size() > std::min(modeLimit, referenceLimit);
    if (rows.size() > modeLimit || levelMoves)
        for (WorkingRow& row : rows)
            row.importance = importanceOf(row, numInputs, numOutputs);
    // What the default quality would keep of this sheet, measured before the cut to this quality.
    const TransferSums reference =
        levelMoves ? strongestRowsSums(rows, referenceLimit, numInputs, numOutputs) : TransferSums{};
    if (rows.size() > modeLimit)
    {
        // Only the survivors matter, and they are sorted by frequency next.
        std::nth_element(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(modeLimit), rows.end(),
                         [](const WorkingRow& a, const WorkingRow& b)
                         { return a.importance > b.importance; });
        rows.resize(modeLimit);
    }
    std::sort(rows.begin(), rows.end(),
              [](const WorkingRow& a, const WorkingRow& b) { return a.omega < b.omega; });
    double levelScale = 1;
    if (levelMoves)
    {
        const TransferSums kept = strongestRowsSums(rows, rows.size(), numInputs, numOutputs);
        if (reference.level() > 0 && kept.level() > 0)
            levelScale = std::sqrt(reference.level() / kept.level());
    }

    auto table = std::make_shared<LaminaModeTable>(rows.size());
    table->levelScale = levelScale;
    for (size_t k = 0; k < rows.size(); ++k)
    {
        const WorkingRow& row = rows[k];
        LaminaModeParams& mode = (*table)[k];
        mode.modulationPhase = static_cast<float>(laminaRand()) * 0.00019175345f;
        mode.decayRate = row.decayRate;
        mode.omega = row.omega;
        mode.inputGain[0] = row.inputGain[0];
        mode.inputGain[1] = row.inputGain[1];
        mode.outputGain[0] = row.outputGain[0];
        mode.outputGain[1] = row.outputGain[1];
    }
    return table;
}

} // namespace qor
