#ifndef LOTUNIT_H
#define LOTUNIT_H

#include "EchoSimulator.h"

#include <string>

class CUnitProfile;

// Unit N of a virtual production lot: its own serial number and its own
// echo, spread around the stock unit's by rules that depend on N alone, so
// unit N is the same unit on every run. Only the noise changes from one
// attempt to the next. In every 16 units one is defective and one marginal.
class CLotUnit
{
public:
    enum Kind_T
    {
        LOT_NORMAL,
        LOT_MARGINAL,   // a weak echo: the noise decides, so a retest may pass
        LOT_DEFECTIVE,  // a far too weak echo: fails every attempt
    };

    static const unsigned int c_MaxNumber = 9999;
    static const unsigned int c_Cycle = 16;
    static const unsigned int c_Marginal = 7;   // N % c_Cycle of the marginal units
    static const unsigned int c_Defective = 0;  // and of the defective ones

    explicit CLotUnit(unsigned int number = 1, unsigned int attempt = 1) : m_Number(number), m_Attempt(attempt) {}

    // "N" or "N:ATTEMPT", both from 1; false with a reason.
    static bool Parse(const std::string& text, CLotUnit& unit, std::string& error);

    unsigned int Number() const { return m_Number; }
    unsigned int Attempt() const { return m_Attempt; }
    Kind_T Kind() const;

    // "V" + the profile's name in capitals + "-" + four digits: VQL4K-0007.
    std::string Serial(const std::string& profile) const;
    CEchoSimulator::Shape_T Shape() const;
    // The shape as FPGA model options: "seed=S depth=M echo=E noise=N ringdown=R".
    std::string ModelOptions() const;

    // Gives a profile this unit's serial and every FPGA of it this shape.
    bool Apply(const std::string& profile, CUnitProfile& unit, std::string& error) const;

private:
    // A well-mixed value of N for each salt, so the spreads do not move together.
    uint32_t Hash(uint32_t salt) const;

    unsigned int m_Number;
    unsigned int m_Attempt;
};

#endif
