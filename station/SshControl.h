// One ssh connection per unit for its whole plan: OpenSSH's connection
// sharing, each unit's control socket in a private folder of the station's
// that goes when the station ends.
#pragma once

#include "StepRunner.h"
#include "UnitTarget.h"

#include <QString>

#include <vector>

class CSshControl
{
public:
    // Makes the folder when UNITS has an ssh unit and sharing is not switched
    // off (SONARSTATION_SSH_SHARE=no); without a folder each command connects anew.
    explicit CSshControl(const std::vector<CUnitTarget>& units);
    ~CSshControl();
    CSshControl(const CSshControl&) = delete;
    CSshControl& operator=(const CSshControl&) = delete;

    // Empty when sharing is off, else why it could not be set up.
    const QString& Problem() const { return m_Problem; }
    const QString& Folder() const { return m_Folder; }

    // The unit at SLOT reaches its unit through its own socket.
    void Share(CUnitTarget& unit, size_t slot) const;
    // After ssh's own failure (exit status 255): whether the unit's connection
    // is gone rather than its command failed. Without sharing, 255 tells it.
    bool Lost(const CUnitTarget& unit, const CStepRunner& runner) const;
    // Tells the unit's connection to end; nothing when it never opened.
    void Close(const CUnitTarget& unit, const CStepRunner& runner) const;

    // A unit's socket, the name ssh binds first (17 bytes longer) included, stays
    // under the 108 bytes of a Unix socket's path.
    static const int c_LongestFolder = 72;

private:
    QString m_Folder;
    QString m_Problem;
};
