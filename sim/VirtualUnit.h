#ifndef VIRTUALUNIT_H
#define VIRTUALUNIT_H

#include "UnitProfile.h"

#include <string>
#include <utility>
#include <vector>

// A throw-away unit: a folder that mirrors the unit's own files, and a
// bubblewrap sandbox in which those files appear at their real paths while
// the rest of the root is an empty tmpfs with the host's /usr and /etc.
class CVirtualUnit
{
public:
    struct RunOptions_T
    {
        std::vector<std::string> argv;           // argv[0] is also the program started
        std::string workDir = "/";               // inside the sandbox
        std::vector<std::string> readOnlyBinds;  // host paths shown at the same path
        // Host files shown read-only in workDir (a read-only bind) under their names.
        std::vector<std::pair<std::string, std::string>> workDirFiles;
        bool keepCapabilities = false;
        bool hostNetwork = false;  // otherwise a network namespace of its own
        // The device shim puts the unit's simulated FPGAs behind its device
        // nodes; preloadFirst (a sanitizer runtime) must precede it.
        std::string deviceShim;
        std::string preloadFirst;
        // A qemu-user style launcher that runs argv (another processor's
        // program): its words, absolute paths shown read-only in the unit.
        std::vector<std::string> emulator;
    };

    // folder: where the unit is built. A throw-away folder (removeOnExit) is
    // deleted with the object.
    CVirtualUnit(const std::string& folder, bool removeOnExit);
    ~CVirtualUnit();

    CVirtualUnit(const CVirtualUnit&) = delete;
    CVirtualUnit& operator=(const CVirtualUnit&) = delete;

    // A kept folder must be missing, empty or one vunit made before, which is
    // then emptied: every run starts from the profile alone.
    bool Claim(std::string& error);
    bool Build(const CUnitProfile& profile, std::string& error);

    // The bubblewrap command line for a run, without starting it.
    std::vector<std::string> SandboxCommand(const RunOptions_T& options) const;

    // Runs to the end; returns the exit status, 128 + signal number for a
    // program that was killed, or -1 when bubblewrap could not be started.
    // A stop signal (CStopSignals) ends the sandbox early.
    int Run(const RunOptions_T& options) const;

    const std::string& Folder() const { return m_Folder; }
    std::string HostPath(const std::string& unitPath) const { return m_Folder + "/root" + unitPath; }

    // Where the simulated FPGAs are described and traced, inside the unit.
    static const char* const c_FpgaConfig;
    static const char* const c_FpgaTrace;

    // The AddressSanitizer runtime a program was linked with ("libasan.so.8"), or "".
    static std::string SanitizerRuntime(const std::string& program);

    // A fresh folder under $TMPDIR (or /tmp) for a unit.
    static std::string MakeTempFolder();

    // Marks a folder vunit built, so a later run may empty it.
    static const char* const c_Marker;

private:
    std::string m_Folder;
    bool m_RemoveOnExit;
};

#endif
