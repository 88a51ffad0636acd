#ifndef UNITRUNNER_H
#define UNITRUNNER_H

#include <string>
#include <vector>

// Runs the real sonarbench (through the vunit launcher) on a simulated unit
// and collects what it printed.
struct RunResult_T
{
    std::string out;
    std::string err;
    int status = -1;  // exit status; 128 + signal when killed
};

struct UnitRun_T
{
    std::string profile;
    std::vector<std::string> unitOptions;  // vunit options such as "--file", "PATH=CONTENT"
    std::vector<std::string> args;         // sonarbench's arguments after its name
    std::string unitDir;                   // kept unit folder for inspecting files, or empty
};

// extraEnv: "NAME=VALUE" the board's environment holds besides PATH and LANG;
// launcher: what starts vunit, such as {"/usr/bin/setpriv", ...}.
RunResult_T RunOnUnit(const UnitRun_T& run, const std::vector<std::string>& extraEnv = {},
                      const std::vector<std::string>& launcher = {});

std::string ReadHostFile(const std::string& path, bool* exists = nullptr);

// What the report puts between the handler's text and "Tests Failed" on the
// stock units (versions and serial number of the common unit content).
std::string UnitDataBlock(const std::string& commandLine, const std::string& platform);

// "---...\n<command line>\n\nTest Output: \n"
std::string ReportHeader(const std::string& commandLine);

// "./sonarbench ARG1 ARG2 " as the report shows it, and whole reports of it.
std::string CommandLine(const std::vector<std::string>& args);
std::string Passed(const std::vector<std::string>& args, const std::string& text);
std::string Performed(const std::vector<std::string>& args, const std::string& text);
std::string Failed(const std::vector<std::string>& args, const std::string& text, const std::string& platform);

extern const char* const c_HelpText;     // what follows "ERROR: First Parameter not recognized: <line>"
extern const char* const c_HelpVersion;  // what comes before it

#endif
