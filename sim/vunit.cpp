// vunit: runs sonarbench (or any program) on a simulated unit.
#include "UnitProfile.h"
#include "VirtualUnit.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace
{
const char* const c_Usage =
    "usage: vunit [options] PROFILE [COMMAND [ARGUMENTS...]]\n"
    "       vunit [options] PROFILE --run PROGRAM [ARGUMENTS...]\n"
    "       vunit [options] --describe PROFILE\n"
    "       vunit --list\n"
    "\n"
    "Builds a throw-away unit from sim/units/PROFILE.unit and runs\n"
    "'./sonarbench COMMAND ARGUMENTS' (or PROGRAM) inside it.\n"
    "\n"
    "options (before PROFILE):\n"
    "  --file PATH=CONTENT  put a file into the unit; CONTENT takes \\n \\t \\s \\0 \\\\ \\xHH\n"
    "  --exec PATH=CONTENT  the same, executable\n"
    "  --dir PATH           a folder\n"
    "  --device PATH        a placeholder for a device node under /dev\n"
    "  --remove PATH        leave PATH and everything below it out\n"
    "  --mode PATH=OCTAL    set permission bits, e.g. --mode /VERSION=000\n"
    "  --unit-dir DIR       build the unit in DIR and keep it after the run\n"
    "  --sonarbench PATH    the program to test (default: the one built with vunit)\n"
    "  --units DIR          the folder of the profiles\n"
    "  --ro PATH            show a host path read-only at the same path\n"
    "  --caps               keep root's capabilities inside the unit\n"
    "  --net                give the unit a network namespace of its own\n"
    "  --fpga 'PATH MODEL [OPTION=VALUE...]'  a simulated FPGA behind PATH (replaces the profile's)\n"
    "  --fault NAME         give every simulated FPGA of the unit this fault\n"
    "  --no-shim            leave the device nodes as plain placeholder files\n"
    "  --describe           print what the unit holds instead of running it\n";

bool SplitAssignment(const std::string& text, std::string& path, std::string& value)
{
    const size_t eq = text.find('=');
    if (eq == std::string::npos)
        return false;
    path = text.substr(0, eq);
    value = text.substr(eq + 1);
    return true;
}

std::string Absolute(const std::string& path)
{
    std::error_code ec;
    fs::path result = fs::weakly_canonical(fs::absolute(path), ec);
    return ec ? path : result.string();
}

int ListProfiles(const std::string& unitsDir)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (const fs::directory_entry& entry : fs::directory_iterator(unitsDir, ec))
        if (entry.path().extension() == ".unit" && entry.path().stem().string()[0] != '_')
            names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
    {
        CUnitProfile profile;
        std::string error;
        profile.Load(unitsDir, name, error);
        printf("%-12s %s\n", name.c_str(), profile.Description().c_str());
    }
    return names.empty() ? 1 : 0;
}

std::string Printable(const std::string& bytes)
{
    std::string text;
    for (const char c : bytes)
    {
        char escaped[8];
        if (c == '\n')
            text += "\\n";
        else if (c == ' ')
            text += "\\s";
        else if (c >= 33 && c < 127 && c != '\\')
            text += c;
        else
        {
            snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
            text += escaped;
        }
        if (text.size() > 60)
            return text + "... (" + std::to_string(bytes.size()) + " bytes)";
    }
    return text;
}

int Describe(const std::string& name, const CUnitProfile& profile)
{
    printf("%s: %s\n", name.c_str(), profile.Description().c_str());
    for (const CUnitProfile::Entry_T& entry : profile.Resolved())
    {
        switch (entry.kind)
        {
        case CUnitProfile::ENTRY_FILE: printf("file   %s %s\n", entry.path.c_str(), Printable(entry.content).c_str()); break;
        case CUnitProfile::ENTRY_EXEC: printf("exec   %s %s\n", entry.path.c_str(), Printable(entry.content).c_str()); break;
        case CUnitProfile::ENTRY_DIR: printf("dir    %s\n", entry.path.c_str()); break;
        case CUnitProfile::ENTRY_DEVICE: printf("device %s\n", entry.path.c_str()); break;
        case CUnitProfile::ENTRY_MODE: printf("mode   %s %03o\n", entry.path.c_str(), entry.mode); break;
        case CUnitProfile::ENTRY_REMOVE: break;
        }
    }
    for (const std::string& fpga : profile.Fpgas())
        printf("fpga   %s\n", fpga.c_str());
    return 0;
}
}

int main(int argc, char* argv[])
{
    std::string unitsDir = VUNIT_UNITS_DIR;
    std::string sonarbench = VUNIT_SONARBENCH;
    std::string unitDir;
    CVirtualUnit::RunOptions_T options;
    std::vector<std::string> amendments;  // applied after the profile, in order
    std::vector<std::string> faults;
    bool shim = true, describe = false;

    int i = 1;
    for (; i < argc && strncmp(argv[i], "--", 2) == 0; ++i)
    {
        const std::string option = argv[i];
        const bool hasValue = i + 1 < argc;
        if (option == "--list")
            return ListProfiles(unitsDir);
        if (option == "--help")
        {
            fputs(c_Usage, stdout);
            return 0;
        }
        if (option == "--caps")
            options.keepCapabilities = true;
        else if (option == "--no-shim")
            shim = false;
        else if (option == "--describe")
            describe = true;
        else if (option == "--net")
            options.ownNetwork = true;
        else if (!hasValue)
        {
            fprintf(stderr, "vunit: %s needs a value\n%s", option.c_str(), c_Usage);
            return 2;
        }
        else if (option == "--file" || option == "--exec" || option == "--dir" || option == "--device" ||
                 option == "--remove" || option == "--mode")
            amendments.push_back(option.substr(2) + " " + argv[++i]);
        else if (option == "--fpga")
            amendments.push_back(std::string("fpga ") + argv[++i]);
        else if (option == "--fault")
            faults.push_back(argv[++i]);
        else if (option == "--unit-dir")
            unitDir = argv[++i];
        else if (option == "--sonarbench")
            sonarbench = Absolute(argv[++i]);
        else if (option == "--units")
            unitsDir = argv[++i];
        else if (option == "--ro")
            options.readOnlyBinds.push_back(Absolute(argv[++i]));
        else
        {
            fprintf(stderr, "vunit: unknown option %s\n%s", option.c_str(), c_Usage);
            return 2;
        }
    }
    if (i >= argc)
    {
        fputs(c_Usage, stderr);
        return 2;
    }

    CUnitProfile profile;
    std::string error;
    const std::string profileName = argv[i];
    if (!profile.Load(unitsDir, argv[i++], error))
    {
        fprintf(stderr, "vunit: %s\n", error.c_str());
        return 2;
    }
    for (const std::string& amendment : amendments)
    {
        // "file PATH=CONTENT" reads like a profile line once the '=' is a blank.
        std::string keyword = amendment.substr(0, amendment.find(' '));
        std::string rest = amendment.substr(keyword.size() + 1), path, value;
        std::string line = keyword + " " + rest;
        if (keyword != "fpga" && SplitAssignment(rest, path, value))
            line = keyword + " " + path + " " + value;
        if (!profile.ParseLine(line, unitsDir, error))
        {
            fprintf(stderr, "vunit: --%s: %s\n", keyword.c_str(), error.c_str());
            return 2;
        }
    }

    for (const std::string& fault : faults)
        for (const std::string& fpga : profile.Fpgas())
            if (!profile.ParseLine("fpga " + fpga + " fault=" + fault, unitsDir, error))
            {
                fprintf(stderr, "vunit: --fault: %s\n", error.c_str());
                return 2;
            }
    if (describe)
        return Describe(profileName, profile);

    std::string started;  // the program's host path, when known
    if (i < argc && strcmp(argv[i], "--run") == 0)
    {
        if (++i >= argc)
        {
            fputs(c_Usage, stderr);
            return 2;
        }
        std::string program = argv[i++];
        if (program.find('/') != std::string::npos)
        {
            program = Absolute(program);
            options.readOnlyBinds.push_back(fs::path(program).parent_path().string());
            started = program;
        }
        options.argv.push_back(program);
    }
    else
    {
        // Started the way the factory starts it, so reports show "./sonarbench".
        const fs::path binary(sonarbench);
        options.readOnlyBinds.push_back(binary.parent_path().string());
        options.workDir = binary.parent_path().string();
        options.argv.push_back("./" + binary.filename().string());
        started = sonarbench;
    }
    options.argv.insert(options.argv.end(), argv + i, argv + argc);
    if (shim && !profile.Fpgas().empty())
    {
        options.deviceShim = VUNIT_SHIM;
        // A sanitized program needs its sanitizer runtime first in the preload list.
        options.preloadFirst = started.empty() ? std::string() : CVirtualUnit::SanitizerRuntime(started);
    }

    const bool keep = !unitDir.empty();
    if (!keep)
        unitDir = CVirtualUnit::MakeTempFolder();
    if (unitDir.empty())
    {
        fprintf(stderr, "vunit: cannot make a unit folder\n");
        return 2;
    }
    CVirtualUnit unit(Absolute(unitDir), !keep);
    if (!unit.Build(profile, error))
    {
        fprintf(stderr, "vunit: %s\n", error.c_str());
        return 2;
    }
    const int status = unit.Run(options);
    if (status < 0)
    {
        fprintf(stderr, "vunit: cannot start the sandbox\n");
        return 2;
    }
    return status;
}
