#include "files/virtual_file.h"

namespace qor
{

namespace
{

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// Digit runs without leading zero: the longer run is the larger number; of equal lengths the first
// differing digit decides.
int compareNumbers(const char*& a, const char*& b)
{
    int bias = 0;
    for (;; ++a, ++b)
    {
        const bool da = isDigit(*a), db = isDigit(*b);
        if (!da && !db)
            return bias;
        if (!da)
            return -1;
        if (!db)
            return 1;
        if (bias == 0 && *a != *b)
            bias = *a < *b ? -1 : 1;
    }
}

// Digit runs with a leading zero compare like decimal fractions: digit by digit from the left.
int compareFractions(const char*& a, const char*& b)
{
    for (;; ++a, ++b)
    {
        const bool da = isDigit(*a), db = isDigit(*b);
        if (!da && !db)
            return 0;
        if (!da)
            return -1;
        if (!db)
            return 1;
        if (*a != *b)
            return *a < *b ? -1 : 1;
    }
}

} // namespace

int naturalCompare(const juce::String& left, const juce::String& right)
{
    const char* a = left.toRawUTF8();
    const char* b = right.toRawUTF8();
    for (;;)
    {
        while (isSpace(*a))
            ++a;
        while (isSpace(*b))
            ++b;
        if (isDigit(*a) && isDigit(*b))
        {
            const bool fractional = *a == '0' || *b == '0';
            const int result = fractional ? compareFractions(a, b) : compareNumbers(a, b);
            if (result != 0)
                return result;
            continue;
        }
        if (*a == 0 && *b == 0)
            return 0;
        const auto ca = (unsigned char)*a, cb = (unsigned char)*b;
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++a;
        ++b;
    }
}

} // namespace qor
