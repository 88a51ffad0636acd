#include "VirtualUnit.h"

#include "ElfFile.h"
#include "StopSignals.h"
#include "UnitTree.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

const char* const CVirtualUnit::c_FpgaConfig = "/vunit/fpga.conf";
const char* const CVirtualUnit::c_FpgaTrace = "/vunit/fpga.trace";
const char* const CVirtualUnit::c_Marker = ".vunit-unit";

std::string CVirtualUnit::SanitizerRuntime(const std::string& program)
{
    // Only the runtime's name is wanted, so a program that cannot be read
    // (a script, another processor's byte order) simply has none.
    std::vector<std::string> needed;
    std::string error;
    CElfFile::NeededLibraries(program, needed, error);
    const std::string prefix = "libasan.so.";
    for (const std::string& name : needed)
        if (name.size() > prefix.size() && name.compare(0, prefix.size(), prefix) == 0 &&
            name.find_first_not_of("0123456789", prefix.size()) == std::string::npos)
            return name;
    return std::string();
}

CVirtualUnit::CVirtualUnit(const std::string& folder, bool removeOnExit)
    : m_Folder(folder), m_RemoveOnExit(removeOnExit)
{
}

CVirtualUnit::~CVirtualUnit()
{
    std::string error;
    if (m_RemoveOnExit && !CUnitTree::RemoveFolder(m_Folder, error))
        fprintf(stderr, "vunit: cannot remove the unit folder %s: %s\n", m_Folder.c_str(), error.c_str());
}

std::string CVirtualUnit::MakeTempFolder()
{
    const char* tmp = getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/vunit.XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data()))
        return std::string();
    return std::string(buffer.data());
}

bool CVirtualUnit::Claim(std::string& error)
{
    struct stat st;
    if (lstat(m_Folder.c_str(), &st) != 0)
    {
        std::error_code ec;
        fs::create_directories(m_Folder, ec);
        if (ec)
        {
            error = "cannot make the unit folder " + m_Folder + ": " + ec.message();
            return false;
        }
    }
    else if (S_ISLNK(st.st_mode) || !S_ISDIR(st.st_mode))
    {
        error = "the unit folder " + m_Folder + (S_ISLNK(st.st_mode) ? " is a symbolic link" : " is not a folder");
        return false;
    }
    std::error_code ec;
    if (fs::canonical(m_Folder, ec) == "/")
    {
        error = "the unit folder cannot be /";
        return false;
    }
    const int fd = CUnitTree::OpenFolder(m_Folder, error);
    if (fd < 0)
        return false;
    CUnitTree folder(fd);
    if (!folder.IsEmpty() && !folder.HoldsFile(c_Marker))
    {
        error = "the unit folder " + m_Folder +
                " holds files vunit did not make; give a new or empty folder, or one of an earlier --unit-dir run";
        return false;
    }
    if (!folder.Empty(error))
    {
        error = "cannot empty the unit folder " + m_Folder + ": " + error;
        return false;
    }
    return true;
}

bool CVirtualUnit::Build(const CUnitProfile& profile, std::string& error)
{
    const int fd = CUnitTree::OpenFolder(m_Folder, error);
    if (fd < 0)
        return false;
    CUnitTree folder(fd);
    std::string why;
    bool ok = folder.WriteFile(std::string("/") + c_Marker,
                               "A unit folder of vunit: its next run empties and rebuilds it.\n", false, why) &&
              folder.MakeFolder("/root/tmp", why) && folder.MakeFolder("/root/dev", why);
    // Modes come last, so a folder made unreadable can still be filled.
    const std::vector<CUnitProfile::Entry_T> entries = profile.Resolved();
    for (int pass = 0; ok && pass < 2; ++pass)
        for (const CUnitProfile::Entry_T& entry : entries)
        {
            const std::string path = "/root" + entry.path;
            if ((entry.kind == CUnitProfile::ENTRY_MODE) != (pass == 1))
                continue;
            switch (entry.kind)
            {
            case CUnitProfile::ENTRY_FILE:
            case CUnitProfile::ENTRY_DEVICE:
            case CUnitProfile::ENTRY_EXEC:
                ok = CUnitTree::ValidPath(entry.path, why) &&
                     folder.WriteFile(path, entry.content, entry.kind == CUnitProfile::ENTRY_EXEC, why);
                break;
            case CUnitProfile::ENTRY_DIR:
                ok = CUnitTree::ValidPath(entry.path, why) && folder.MakeFolder(path, why);
                break;
            case CUnitProfile::ENTRY_MODE:
                ok = CUnitTree::ValidPath(entry.path, why) && folder.SetMode(path, entry.mode, why);
                break;
            case CUnitProfile::ENTRY_REMOVE:
                break;
            }
            if (!ok)
                break;
        }
    const std::vector<std::string> fpgas = profile.Fpgas();
    if (ok && !fpgas.empty())
    {
        std::string lines;
        for (const std::string& fpga : fpgas)
            lines += fpga + "\n";
        ok = folder.WriteFile(std::string("/root") + c_FpgaConfig, lines, false, why);
    }
    if (!ok)
        error = "cannot build the unit in " + m_Folder + ": " + why;
    return ok;
}

namespace
{
// A read-only folder takes no new file: a tmpfs shows its entries one by one
// (bubblewrap reads the sources in the old root) and the extra files.
void ShowWithFiles(const std::string& folder, const std::vector<std::pair<std::string, std::string>>& files,
                   std::vector<std::string>& cmd)
{
    std::error_code ec;
    cmd.insert(cmd.end(), {"--tmpfs", folder});
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec))
    {
        const std::string inside = folder + "/" + entry.path().filename().string();
        if (entry.is_symlink(ec))
            cmd.insert(cmd.end(), {"--symlink", fs::read_symlink(entry.path(), ec).string(), inside});
        else
            cmd.insert(cmd.end(), {"--ro-bind", entry.path().string(), inside});
    }
    for (const auto& file : files)
        cmd.insert(cmd.end(), {"--ro-bind", file.first, folder + "/" + file.second});
    cmd.insert(cmd.end(), {"--remount-ro", folder});
}
}

std::vector<std::string> CVirtualUnit::SandboxCommand(const RunOptions_T& options) const
{
    const fs::path root = fs::path(m_Folder) / "root";
    std::vector<std::string> cmd = {
        "bwrap",
        "--die-with-parent",
        "--unshare-pid",
        "--unshare-ipc",
        "--unshare-uts",
        "--tmpfs",
        "/",
        "--ro-bind",
        "/usr",
        "/usr",
        "--symlink",
        "usr/bin",
        "/bin",
        "--symlink",
        "usr/lib",
        "/lib",
        "--symlink",
        "usr/lib64",
        "/lib64",
        "--symlink",
        "usr/sbin",
        "/sbin",
        "--ro-bind",
        "/etc",
        "/etc",
        "--dev",
        "/dev",
        "--proc",
        "/proc",
        "--bind",
        (root / "tmp").string(),
        "/tmp",
    };
    if (!options.hostNetwork)
        cmd.push_back("--unshare-net");
    if (!options.keepCapabilities)
    {
        // A root operator must not read a file the unit made unreadable.
        cmd.insert(cmd.end(), {"--cap-drop", "ALL"});
    }

    // Everything else the unit holds appears at its real path, read-write.
    std::error_code ec;
    for (const fs::directory_entry& top : fs::directory_iterator(root, ec))
    {
        const std::string name = top.path().filename().string();
        if (name == "tmp" || name == "dev" || top.is_symlink(ec))
            continue;
        cmd.insert(cmd.end(), {"--bind", top.path().string(), "/" + name});
    }
    // Device placeholders go over the sandbox's minimal /dev one by one.
    std::set<std::string> devices;
    for (const fs::directory_entry& dev : fs::recursive_directory_iterator(root / "dev", ec))
        if (!dev.is_directory(ec) && !dev.is_symlink(ec))
            devices.insert(dev.path().string());
    for (const std::string& dev : devices)
        cmd.insert(cmd.end(), {"--bind", dev, "/" + fs::relative(dev, root).string()});

    for (const std::string& path : options.readOnlyBinds)
    {
        if (path == options.workDir && !options.workDirFiles.empty())
            ShowWithFiles(path, options.workDirFiles, cmd);
        else
            cmd.insert(cmd.end(), {"--ro-bind", path, path});
    }
    for (const std::string& word : options.emulator)
        if (word[0] == '/')
            cmd.insert(cmd.end(), {"--ro-bind", word, word});
    std::vector<std::string> preloadArguments;  // an emulator's, for the emulated program
    if (!options.deviceShim.empty() && fs::exists(root / std::string(c_FpgaConfig).substr(1), ec))
    {
        // The program itself is started directly; only it is shimmed. An
        // emulator hands the preload to the program it runs, not to itself.
        const std::string preload =
            options.preloadFirst.empty() ? options.deviceShim : options.preloadFirst + ":" + options.deviceShim;
        const std::string shimFolder = fs::path(options.deviceShim).parent_path().string();
        cmd.insert(cmd.end(), {"--ro-bind", shimFolder, shimFolder, "--setenv", "VUNIT_FPGA_CONFIG", c_FpgaConfig,
                               "--setenv", "VUNIT_FPGA_TRACE", c_FpgaTrace});
        if (options.emulator.empty())
            cmd.insert(cmd.end(), {"--setenv", "LD_PRELOAD", preload});
        else
            preloadArguments = {"-E", "LD_PRELOAD=" + preload};
    }
    cmd.insert(cmd.end(), {"--unsetenv", "TMPDIR", "--chdir", options.workDir, "--"});
    cmd.insert(cmd.end(), options.emulator.begin(), options.emulator.end());
    cmd.insert(cmd.end(), preloadArguments.begin(), preloadArguments.end());
    cmd.insert(cmd.end(), options.argv.begin(), options.argv.end());
    return cmd;
}

int CVirtualUnit::Run(const RunOptions_T& options) const
{
    const std::vector<std::string> cmd = SandboxCommand(options);
    std::vector<char*> argv;
    for (const std::string& arg : cmd)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    fflush(stdout);
    fflush(stderr);
    CStopSignals::Hold();
    if (const int signal = CStopSignals::Received())
    {
        CStopSignals::Release();
        return 128 + signal;
    }
    const pid_t pid = fork();
    if (pid == 0)
    {
        CStopSignals::Release();
        execvp(argv[0], argv.data());
        fprintf(stderr, "vunit: cannot start bwrap: %s\n", strerror(errno));
        _exit(127);
    }
    if (pid > 0)
        CStopSignals::Watch(pid);
    CStopSignals::Release();
    if (pid < 0)
        return -1;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR)
            return -1;
    CStopSignals::Watch(0);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return WEXITSTATUS(status);
}
