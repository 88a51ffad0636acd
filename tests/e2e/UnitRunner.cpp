#include "UnitRunner.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
void Drain(int outFd, int errFd, std::string& out, std::string& err)
{
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* targets[2] = {&out, &err};
    int open = 2;
    char buffer[4096];
    while (open > 0)
    {
        if (poll(fds, 2, -1) < 0)
        {
            if (errno == EINTR)
                continue;
            return;
        }
        for (int i = 0; i < 2; ++i)
        {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR)))
                continue;
            const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0)
                targets[i]->append(buffer, static_cast<size_t>(n));
            else if (n == 0 || errno != EINTR)
            {
                fds[i].fd = -1;
                --open;
            }
        }
    }
}
}

RunResult_T RunOnUnit(const UnitRun_T& run, const std::vector<std::string>& extraEnv,
                      const std::vector<std::string>& launcher)
{
    std::vector<std::string> cmd = launcher;
    cmd.push_back(VUNIT_BINARY);
    // Another build of the program, such as the unit's armhf one under its emulator.
    const std::pair<const char*, const char*> others[] = {{"SONARBENCH_E2E_PROGRAM", "--sonarbench"},
                                                          {"SONARBENCH_E2E_SHIM", "--shim"},
                                                          {"SONARBENCH_E2E_EMULATOR", "--emulator"}};
    for (const auto& other : others)
        if (const char* value = getenv(other.first))
            cmd.insert(cmd.end(), {other.second, value});
    if (!run.unitDir.empty())
        cmd.insert(cmd.end(), {"--unit-dir", run.unitDir});
    cmd.insert(cmd.end(), run.unitOptions.begin(), run.unitOptions.end());
    cmd.push_back(run.profile);
    cmd.insert(cmd.end(), run.args.begin(), run.args.end());

    // The unit's environment is the board's, not the developer's shell.
    std::vector<std::string> env = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C"};
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TMPDIR"})
        if (const char* value = getenv(name))
            env.push_back(std::string(name) + "=" + value);
    env.insert(env.end(), extraEnv.begin(), extraEnv.end());

    std::vector<char*> argv, envp;
    for (std::string& arg : cmd)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    for (std::string& var : env)
        envp.push_back(&var[0]);
    envp.push_back(nullptr);

    RunResult_T result;
    int outPipe[2], errPipe[2];
    if (pipe(outPipe) != 0 || pipe(errPipe) != 0)
        return result;
    const pid_t pid = fork();
    if (pid == 0)
    {
        dup2(outPipe[1], STDOUT_FILENO);
        dup2(errPipe[1], STDERR_FILENO);
        close(outPipe[0]);
        close(errPipe[0]);
        close(outPipe[1]);
        close(errPipe[1]);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(outPipe[1]);
    close(errPipe[1]);
    Drain(outPipe[0], errPipe[0], result.out, result.err);
    close(outPipe[0]);
    close(errPipe[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    result.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

std::string ReadHostFile(const std::string& path, bool* exists)
{
    std::ifstream in(path, std::ios::binary);
    if (exists)
        *exists = static_cast<bool>(in);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::string ReportHeader(const std::string& commandLine)
{
    return "---------------------------------------------------\n" + commandLine + "\n\nTest Output: \n";
}

std::string CommandLine(const std::vector<std::string>& args)
{
    std::string line = "./sonarbench ";
    for (const std::string& arg : args)
        line += arg + " ";
    return line;
}

std::string Passed(const std::vector<std::string>& args, const std::string& text)
{
    return ReportHeader(CommandLine(args)) + text + "Test Result: Test Passed.\n";
}

std::string Performed(const std::vector<std::string>& args, const std::string& text)
{
    return ReportHeader(CommandLine(args)) + text + "Test Result: Operation Performed.\n";
}

std::string Failed(const std::vector<std::string>& args, const std::string& text, const std::string& platform)
{
    return ReportHeader(CommandLine(args)) + text + UnitDataBlock(CommandLine(args), platform) +
           "Test Result: Tests Failed.\n";
}

std::string UnitDataBlock(const std::string& commandLine, const std::string& platform)
{
    return "\n\n\n//////////////////////////////////\n"
           "Unit Data for bug reports: \n"
           "Command:\t\t\t" +
           commandLine +
           "\n"
           "Platfrom: \t\t\t" +
           platform +
           "\n"
           "Test App Build ID:\t\t\n"
           "Test App Version:\t\t0.0\n"
           "MFD Application Version: \t2.14.0\n"
           "Platform Version: \t\t1.8.3\n"
           "Serial Number: \t\t\t0412345678\n"
           "//////////////////////////////////\n";
}

const char* const c_HelpVersion = "\nTest App Build ID: \nTest App Version: 0.0\n\n\n";

const char* const c_HelpText =
    "\n\nValid arguments are as follows: \n\n"
    "./sonarbench batteryvoltage (Example: ../sonarbench batteryvoltage)\n"
    "./sonarbench lcdtemperature (Example: ../sonarbench lcdtemperature)\n"
    "./sonarbench watertemperature (Example: ../sonarbench watertemperature)\n"
    "./sonarbench speed <duration> (0 = infinite) (Example: ../sonarbench speed 5)\n"
    "./sonarbench sensepin (Example: ../sonarbench sensepin)\n"
    "./sonarbench loadfpgabinary (Example: ./sonarbench loadfpgabinary)\n"
    "./sonarbench ping <Start Frequency> <End Frequency> <Depth> <Period> <Channel> <AnalogueGain: high | Medium | "
    "low> (Example: ./sonarbench ping 200000 210000 27 45 0 medium)\n"
    "./sonarbench lowscanping <Freq 200 | 350 | 200long | 350long > (Example: ./sonarbench lowscanping 200long )\n"
    "./sonarbench xkping Filename Channel IncrementBy (Example: ./sonarbench xkping 200kHPShort.txt 0 5)\n"
    "./sonarbench 6mping <channel> (Example: ./sonarbench 6mping 0 )\n";
