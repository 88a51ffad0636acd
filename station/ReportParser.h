// Reads the text a unit printed for one command. The text comes from the
// unit and may be anything: cut short, binary, or not a report at all.
#pragma once

#include "StepReport.h"

#include <QByteArray>

class CReportParser
{
public:
    StepReport_T Parse(const QByteArray& text) const;

private:
    struct State_T;
    void ReadLine(const QByteArray& line, int index, State_T& state) const;
    void ReadBlock(const QByteArray& line, int start, State_T& state) const;
    void AttachLine(const QByteArray& line, State_T& state) const;
    void ReadVerdict(const QByteArray& line, State_T& state) const;
    void ReadUnitData(const QByteArray& line, State_T& state) const;
};
