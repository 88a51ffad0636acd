// vunit: runs sonarbench (or any program) on a simulated unit.
#include "FpgaSetup.h"
#include "LotUnit.h"
#include "StopSignals.h"
#include "UnitProfile.h"
#include "VirtualUnit.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace
{
const char* const c_Usage =
    "usage: vunit [options] PROFILE [COMMAND [ARGUMENTS...]]\n"
    "       vunit [options] PROFILE --run PROGRAM [ARGUMENTS...]\n"
    "       vunit [options] --describe PROFILE\n"
    "       vunit --list\n"
    "       vunit -h | --help\n"
    "\n"
    "Builds a throw-away unit from sim/units/PROFILE.unit and runs\n"
    "'./sonarbench COMMAND ARGUMENTS' (or PROGRAM) inside it.\n"
    "vunit's options go before PROFILE; one of them after it is refused. A '--'\n"
    "after PROFILE hands every later word to the program as it is:\n"
    "  vunit PROFILE -- --word      vunit PROFILE --run PROGRAM -- --unit-dir\n"
    "\n"
    "options (before PROFILE):\n"
    "  --file PATH=CONTENT  put a file into the unit; CONTENT takes \\n \\t \\s \\0 \\\\ \\xHH\n"
    "  --exec PATH=CONTENT  the same, executable\n"
    "  --dir PATH           a folder\n"
    "  --device PATH        a placeholder for a device node under /dev\n"
    "  --remove PATH        leave PATH and everything below it out\n"
    "  --mode PATH=OCTAL    set permission bits, e.g. --mode /VERSION=000\n"
    "  --unit-dir DIR       build the unit in DIR and keep it after the run; DIR must be\n"
    "                       new, empty or a unit folder of an earlier run (then rebuilt)\n"
    "  --sonarbench PATH    the program to test (default: the one built with vunit)\n"
    "  --shim PATH          the device shim to preload (default: the one built with vunit)\n"
    "  --emulator 'PATH [ARGUMENTS...]'  run the program through a qemu-user style\n"
    "                       emulator, which gets the shim as '-E LD_PRELOAD=...'\n"
    "  --units DIR          the folder of the profiles\n"
    "  --ro PATH            show a host path read-only at the same path\n"
    "  --beside PATH=NAME   show the host file PATH read-only beside the program as NAME\n"
    "  --caps               keep root's capabilities inside the unit\n"
    "  --net                share the host's network (by default the unit has none)\n"
    "  --fpga 'PATH MODEL [OPTION=VALUE...]'  a simulated FPGA behind PATH (replaces the profile's)\n"
    "  --fault NAME         give every simulated FPGA of the unit this fault\n"
    "  --model 'OPTION=VALUE...'  model options for every simulated FPGA of the unit\n"
    "  --serial TEXT        the unit's serial number (/corvane/Config/SerialNumber)\n"
    "  --lot-unit N[:ATTEMPT]  unit N of a virtual production lot of PROFILE: its own\n"
    "                       serial number and echo; the noise changes with ATTEMPT\n"
    "  --no-shim            leave the device nodes as plain placeholder files\n"
    "  --describe           print what the unit holds instead of running it\n"
    "  --list               list the profiles\n"
    "  -h, --help           print this\n";

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

std::vector<std::string> Words(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream in(text);
    for (std::string word; in >> word;)
        words.push_back(word[0] == '/' || word[0] == '-' ? word : Absolute(word));
    return words;
}

// Absolute without resolving links: a unit folder that is a link is refused, not followed.
std::string AbsoluteAsGiven(const std::string& path)
{
    std::error_code ec;
    const fs::path result = fs::absolute(path, ec);
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
        case CUnitProfile::ENTRY_FILE:
            printf("file   %s %s\n", entry.path.c_str(), Printable(entry.content).c_str());
            break;
        case CUnitProfile::ENTRY_EXEC:
            printf("exec   %s %s\n", entry.path.c_str(), Printable(entry.content).c_str());
            break;
        case CUnitProfile::ENTRY_DIR:
            printf("dir    %s\n", entry.path.c_str());
            break;
        case CUnitProfile::ENTRY_DEVICE:
            printf("device %s\n", entry.path.c_str());
            break;
        case CUnitProfile::ENTRY_MODE:
            printf("mode   %s %03o\n", entry.path.c_str(), entry.mode);
            break;
        case CUnitProfile::ENTRY_REMOVE:
            break;
        }
    }
    for (const std::string& fpga : profile.Fpgas())
        printf("fpga   %s\n", fpga.c_str());
    return 0;
}
struct Command_T
{
    std::string unitsDir = VUNIT_UNITS_DIR;
    std::string sonarbench = VUNIT_SONARBENCH;
    std::string shim = VUNIT_SHIM;
    std::string unitDir;
    CVirtualUnit::RunOptions_T options;
    std::vector<std::string> amendments;  // applied after the profile, in order
    std::vector<std::string> faults;
    std::vector<std::string> beside;  // PATH=NAME
    std::vector<std::string> models;
    std::string lotUnit;
    std::string serial;
    bool hasSerial = false;
    bool useShim = true, describe = false;
    bool run = false;  // PROFILE --run PROGRAM
    int next = 1;      // the first argument after the options
};

// One option of the command line. apply returns -1 to go on, else vunit's exit status.
struct Option_T
{
    const char* name;
    bool takesValue;
    int (*apply)(Command_T& command, const std::string& value);
};

int Amend(Command_T& command, const std::string& line)
{
    command.amendments.push_back(line);
    return -1;
}

int PrintUsage(Command_T&, const std::string&)
{
    fputs(c_Usage, stdout);
    return 0;
}

const Option_T c_Options[] = {
    {"--file", true, [](Command_T& c, const std::string& v) { return Amend(c, "file " + v); }},
    {"--exec", true, [](Command_T& c, const std::string& v) { return Amend(c, "exec " + v); }},
    {"--dir", true, [](Command_T& c, const std::string& v) { return Amend(c, "dir " + v); }},
    {"--device", true, [](Command_T& c, const std::string& v) { return Amend(c, "device " + v); }},
    {"--remove", true, [](Command_T& c, const std::string& v) { return Amend(c, "remove " + v); }},
    {"--mode", true, [](Command_T& c, const std::string& v) { return Amend(c, "mode " + v); }},
    {"--fpga", true, [](Command_T& c, const std::string& v) { return Amend(c, "fpga " + v); }},
    {"--fault", true,
     [](Command_T& c, const std::string& v) {
         c.faults.push_back(v);
         return -1;
     }},
    {"--unit-dir", true,
     [](Command_T& c, const std::string& v) {
         c.unitDir = AbsoluteAsGiven(v);
         return -1;
     }},
    {"--sonarbench", true,
     [](Command_T& c, const std::string& v) {
         c.sonarbench = Absolute(v);
         return -1;
     }},
    {"--shim", true,
     [](Command_T& c, const std::string& v) {
         c.shim = Absolute(v);
         return -1;
     }},
    {"--emulator", true,
     [](Command_T& c, const std::string& v) {
         c.options.emulator = Words(v);
         return -1;
     }},
    {"--units", true,
     [](Command_T& c, const std::string& v) {
         c.unitsDir = v;
         return -1;
     }},
    {"--ro", true,
     [](Command_T& c, const std::string& v) {
         c.options.readOnlyBinds.push_back(Absolute(v));
         return -1;
     }},
    {"--model", true,
     [](Command_T& c, const std::string& v) {
         c.models.push_back(v);
         return -1;
     }},
    {"--serial", true,
     [](Command_T& c, const std::string& v) {
         c.serial = v;
         c.hasSerial = true;
         return -1;
     }},
    {"--lot-unit", true,
     [](Command_T& c, const std::string& v) {
         c.lotUnit = v;
         return -1;
     }},
    {"--beside", true,
     [](Command_T& c, const std::string& v) {
         c.beside.push_back(v);
         return -1;
     }},
    {"--caps", false,
     [](Command_T& c, const std::string&) {
         c.options.keepCapabilities = true;
         return -1;
     }},
    {"--net", false,
     [](Command_T& c, const std::string&) {
         c.options.hostNetwork = true;
         return -1;
     }},
    {"--no-shim", false,
     [](Command_T& c, const std::string&) {
         c.useShim = false;
         return -1;
     }},
    {"--describe", false,
     [](Command_T& c, const std::string&) {
         c.describe = true;
         return -1;
     }},
    {"--list", false, [](Command_T& c, const std::string&) { return ListProfiles(c.unitsDir); }},
    {"--help", false, PrintUsage},
    {"-h", false, PrintUsage},
};

const Option_T* FindOption(const std::string& word)
{
    for (const Option_T& option : c_Options)
        if (word == option.name)
            return &option;
    return nullptr;
}

// A program the host holds, so a missing one is named before the unit is built.
bool ProgramExists(const char* option, const std::string& program)
{
    std::error_code ec;
    if (!fs::is_regular_file(program, ec))
        fprintf(stderr, "vunit: %s: cannot find the program %s\n", option, program.c_str());
    else if (access(program.c_str(), X_OK) != 0)
        fprintf(stderr, "vunit: %s: the program %s is not executable\n", option, program.c_str());
    else
        return true;
    return false;
}

// The options before the profile; returns -1 to go on, else an exit status.
int ParseOptions(int argc, char* argv[], Command_T& command)
{
    int& i = command.next;
    for (; i < argc && argv[i][0] == '-'; ++i)
    {
        const std::string word = argv[i];
        const Option_T* option = FindOption(word);
        if (word == "--run")
        {
            // A program that is not there is the mistake to name first.
            if (i + 1 >= argc || argv[i + 1][0] != '/' || ProgramExists("--run", argv[i + 1]))
                fprintf(stderr, "vunit: --run comes after the profile: vunit [options] PROFILE --run PROGRAM\n");
            return 2;
        }
        if (!option)
        {
            fprintf(stderr, "vunit: unknown option %s\n%s", word.c_str(), c_Usage);
            return 2;
        }
        if (option->takesValue && i + 1 >= argc)
        {
            fprintf(stderr, "vunit: %s needs a value\n%s", word.c_str(), c_Usage);
            return 2;
        }
        const int done = option->apply(command, option->takesValue ? argv[++i] : "");
        if (done >= 0)
            return done;
    }
    if (i >= argc)
    {
        fputs(c_Usage, stderr);
        return 2;
    }
    return -1;
}

// The words after the profile belong to the program, up to nothing or a first
// "--" (dropped); a vunit option among them is a mistake, not the program's.
// Returns false after a message.
bool TakeProgramWords(int argc, char* argv[], Command_T& command, std::vector<std::string>& words)
{
    bool vunitWords = true;
    for (int i = command.next; i < argc; ++i)
    {
        const std::string word = argv[i];
        if (vunitWords && word == "--")
        {
            vunitWords = false;
            continue;
        }
        if (word == "--run" && i == command.next)
        {
            command.run = true;
            continue;
        }
        if (vunitWords && word.compare(0, 2, "--") == 0 && (FindOption(word) || word == "--run"))
        {
            fprintf(stderr,
                    "vunit: %s after the profile: vunit's options go before PROFILE (write -- before words meant "
                    "for the program)\n",
                    word.c_str());
            return false;
        }
        words.push_back(word);
    }
    return true;
}

// The profile with the command line's amendments and faults; false after a message.
bool LoadProfile(const Command_T& command, const std::string& name, CUnitProfile& profile)
{
    std::string error;
    if (!profile.Load(command.unitsDir, name, error))
    {
        fprintf(stderr, "vunit: %s\n", error.c_str());
        return false;
    }
    CLotUnit lotUnit;
    if (!command.lotUnit.empty() &&
        (!CLotUnit::Parse(command.lotUnit, lotUnit, error) || !lotUnit.Apply(name, profile, error)))
    {
        fprintf(stderr, "vunit: --lot-unit: %s\n", error.c_str());
        return false;
    }
    for (const std::string& amendment : command.amendments)
    {
        // "file PATH=CONTENT" reads like a profile line once the '=' is a blank.
        std::string keyword = amendment.substr(0, amendment.find(' '));
        std::string rest = amendment.substr(keyword.size() + 1), path, value;
        std::string line = keyword + " " + rest;
        if (keyword != "fpga" && SplitAssignment(rest, path, value))
            line = keyword + " " + path + " " + value;
        if (!profile.ParseLine(line, command.unitsDir, error))
        {
            fprintf(stderr, "vunit: --%s: %s\n", keyword.c_str(), error.c_str());
            return false;
        }
    }
    for (const std::string& options : command.models)
        if (!profile.AddFpgaOptions(options, error))
        {
            fprintf(stderr, "vunit: --model: %s\n", error.c_str());
            return false;
        }
    if (command.hasSerial)
        profile.SetSerial(command.serial);
    if (!command.faults.empty() && profile.Fpgas().empty())
    {
        fprintf(stderr, "vunit: --fault: the unit %s has no simulated FPGA, so it has no faults\n", name.c_str());
        return false;
    }
    for (const std::string& fault : command.faults)
        for (const std::string& fpga : profile.Fpgas())
            if (!profile.ParseLine("fpga " + fpga + " fault=" + fault, command.unitsDir, error))
            {
                fprintf(stderr, "vunit: --fault: %s\n", error.c_str());
                return false;
            }
    return true;
}

// The --beside files in the program's folder; false after a message.
bool PlaceBeside(Command_T& command)
{
    CVirtualUnit::RunOptions_T& options = command.options;
    for (const std::string& value : command.beside)
    {
        // The name has no '=', the host path may.
        const size_t eq = value.rfind('=');
        const std::string path = eq == std::string::npos ? std::string() : Absolute(value.substr(0, eq));
        const std::string name = eq == std::string::npos ? std::string() : value.substr(eq + 1);
        std::error_code ec;
        std::string why;
        if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
            why = "it takes PATH=NAME, NAME a plain file name";
        else if (!fs::is_regular_file(path, ec))
            why = path + " is not a file";
        else if (fs::symlink_status(fs::path(options.workDir) / name, ec).type() != fs::file_type::not_found)
            why = name + " is already beside the program (it is not hidden)";
        else if (std::any_of(options.workDirFiles.begin(), options.workDirFiles.end(),
                             [&](const auto& placed) { return placed.second == name; }))
            why = name + " is named twice";
        if (!why.empty())
        {
            fprintf(stderr, "vunit: --beside '%s': %s\n", value.c_str(), why.c_str());
            return false;
        }
        options.workDirFiles.emplace_back(path, name);
    }
    return true;
}

// What the sandbox starts; false after a message.
bool ChooseProgram(const std::vector<std::string>& words, Command_T& command, const CUnitProfile& profile)
{
    CVirtualUnit::RunOptions_T& options = command.options;
    std::string started;   // the program's host path, when known
    size_t arguments = 0;  // where the program's arguments start in words
    if (command.run)
    {
        if (words.empty())
        {
            fputs(c_Usage, stderr);
            return false;
        }
        std::string program = words[0];
        arguments = 1;
        if (program.find('/') != std::string::npos)
        {
            program = Absolute(program);
            if (!ProgramExists("--run", program))
                return false;
            options.readOnlyBinds.push_back(fs::path(program).parent_path().string());
            started = program;
        }
        options.argv.push_back(program);
    }
    else
    {
        if (!ProgramExists("--sonarbench", command.sonarbench))
            return false;
        // Started the way the factory starts it, so reports show "./sonarbench".
        const fs::path binary(command.sonarbench);
        options.readOnlyBinds.push_back(binary.parent_path().string());
        options.workDir = binary.parent_path().string();
        options.argv.push_back("./" + binary.filename().string());
        started = command.sonarbench;
        if (!PlaceBeside(command))
            return false;
    }
    if (!command.beside.empty() && options.workDirFiles.empty())
    {
        fprintf(stderr, "vunit: --beside puts files beside sonarbench, not beside a --run program\n");
        return false;
    }
    options.argv.insert(options.argv.end(), words.begin() + arguments, words.end());
    if (command.useShim && !profile.Fpgas().empty())
    {
        options.deviceShim = command.shim;
        // A sanitized program needs its sanitizer runtime first in the preload list.
        options.preloadFirst = started.empty() ? std::string() : CVirtualUnit::SanitizerRuntime(started);
    }
    return true;
}

// Builds the unit, runs it and removes a throw-away unit on every way out.
int BuildAndRun(const Command_T& command, const CUnitProfile& profile)
{
    const bool keep = !command.unitDir.empty();
    const std::string folder = keep ? command.unitDir : CVirtualUnit::MakeTempFolder();
    if (folder.empty())
    {
        fprintf(stderr, "vunit: cannot make a unit folder\n");
        return 2;
    }
    CVirtualUnit unit(folder, !keep);
    std::string error;
    if (!unit.Claim(error))
    {
        fprintf(stderr, "vunit: %s%s\n", keep ? "--unit-dir: " : "", error.c_str());
        return 2;
    }
    if (!unit.Build(profile, error))
    {
        fprintf(stderr, "vunit: %s\n", error.c_str());
        return 2;
    }
    const int status = unit.Run(command.options);
    if (const int signal = CStopSignals::Received())
        return 128 + signal;
    if (status < 0)
    {
        fprintf(stderr, "vunit: cannot start the sandbox\n");
        return 2;
    }
    return status;
}
}

int main(int argc, char* argv[])
{
    CStopSignals::Install();
    Command_T command;
    const int done = ParseOptions(argc, argv, command);
    if (done >= 0)
        return done;

    CUnitProfile profile;
    const std::string profileName = argv[command.next++];
    std::vector<std::string> words;
    if (!TakeProgramWords(argc, argv, command, words))
        return 2;
    if (!LoadProfile(command, profileName, profile))
        return 2;
    if (command.describe)
        return Describe(profileName, profile);
    if (!ChooseProgram(words, command, profile))
        return 2;
    return BuildAndRun(command, profile);
}
