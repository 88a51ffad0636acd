#include "VirtualUnit.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <cctype>
#include <fstream>
#include <iterator>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{
bool WriteBytes(const fs::path& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}
}

const char* const CVirtualUnit::c_FpgaConfig = "/vunit/fpga.conf";
const char* const CVirtualUnit::c_FpgaTrace = "/vunit/fpga.trace";

std::string CVirtualUnit::SanitizerRuntime(const std::string& program)
{
    std::ifstream in(program, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::string name = "libasan.so.";
    const size_t at = bytes.find(name);
    if (at == std::string::npos)
        return std::string();
    size_t end = at + name.size();
    while (end < bytes.size() && isdigit(static_cast<unsigned char>(bytes[end])))
        ++end;
    return end > at + name.size() ? bytes.substr(at, end - at) : std::string();
}

CVirtualUnit::CVirtualUnit(const std::string& folder, bool removeOnExit)
    : m_Folder(folder), m_RemoveOnExit(removeOnExit)
{
}

CVirtualUnit::~CVirtualUnit()
{
    if (m_RemoveOnExit)
    {
        std::error_code ignored;
        fs::remove_all(m_Folder, ignored);
    }
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

bool CVirtualUnit::Build(const CUnitProfile& profile, std::string& error)
{
    std::error_code ec;
    const fs::path root = fs::path(m_Folder) / "root";
    fs::create_directories(root / "tmp", ec);
    fs::create_directories(root / "dev", ec);
    if (ec)
    {
        error = "cannot create " + root.string() + ": " + ec.message();
        return false;
    }
    for (const CUnitProfile::Entry_T& entry : profile.Resolved())
    {
        const fs::path target = root / entry.path.substr(1);
        if (entry.kind != CUnitProfile::ENTRY_MODE)
            fs::create_directories(target.parent_path(), ec);
        bool ok = !ec;
        switch (entry.kind)
        {
        case CUnitProfile::ENTRY_FILE:
        case CUnitProfile::ENTRY_DEVICE:
            ok = ok && WriteBytes(target, entry.content);
            break;
        case CUnitProfile::ENTRY_EXEC:
            ok = ok && WriteBytes(target, entry.content) && chmod(target.c_str(), 0755) == 0;
            break;
        case CUnitProfile::ENTRY_DIR:
            fs::create_directories(target, ec);
            ok = !ec;
            break;
        case CUnitProfile::ENTRY_MODE:
            ok = chmod(target.c_str(), entry.mode) == 0;
            break;
        case CUnitProfile::ENTRY_REMOVE:
            break;
        }
        if (!ok)
        {
            error = "cannot create " + entry.path + " in the unit folder " + m_Folder;
            return false;
        }
    }
    const std::vector<std::string> fpgas = profile.Fpgas();
    if (!fpgas.empty())
    {
        std::string lines;
        for (const std::string& fpga : fpgas)
            lines += fpga + "\n";
        fs::create_directories(root / "vunit", ec);
        if (ec || !WriteBytes(root / std::string(c_FpgaConfig).substr(1), lines))
        {
            error = "cannot write the FPGA description into the unit folder " + m_Folder;
            return false;
        }
    }
    return true;
}

std::vector<std::string> CVirtualUnit::SandboxCommand(const RunOptions_T& options) const
{
    const fs::path root = fs::path(m_Folder) / "root";
    std::vector<std::string> cmd = {
        "bwrap", "--die-with-parent", "--unshare-pid", "--unshare-ipc", "--unshare-uts",
        "--tmpfs", "/",
        "--ro-bind", "/usr", "/usr",
        "--symlink", "usr/bin", "/bin",
        "--symlink", "usr/lib", "/lib",
        "--symlink", "usr/lib64", "/lib64",
        "--symlink", "usr/sbin", "/sbin",
        "--ro-bind", "/etc", "/etc",
        "--dev", "/dev",
        "--proc", "/proc",
        "--bind", (root / "tmp").string(), "/tmp",
    };
    if (options.ownNetwork)
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
        if (name == "tmp" || name == "dev")
            continue;
        cmd.insert(cmd.end(), {"--bind", top.path().string(), "/" + name});
    }
    // Device placeholders go over the sandbox's minimal /dev one by one.
    std::set<std::string> devices;
    for (const fs::directory_entry& dev : fs::recursive_directory_iterator(root / "dev", ec))
        if (!dev.is_directory())
            devices.insert(dev.path().string());
    for (const std::string& dev : devices)
        cmd.insert(cmd.end(), {"--bind", dev, "/" + fs::relative(dev, root).string()});

    for (const std::string& path : options.readOnlyBinds)
        cmd.insert(cmd.end(), {"--ro-bind", path, path});
    if (!options.deviceShim.empty() && fs::exists(root / std::string(c_FpgaConfig).substr(1), ec))
    {
        // The program itself is started directly; only it is shimmed.
        const std::string preload =
            options.preloadFirst.empty() ? options.deviceShim : options.preloadFirst + ":" + options.deviceShim;
        cmd.insert(cmd.end(), {"--ro-bind", fs::path(options.deviceShim).parent_path().string(),
                               fs::path(options.deviceShim).parent_path().string(),
                               "--setenv", "LD_PRELOAD", preload,
                               "--setenv", "VUNIT_FPGA_CONFIG", c_FpgaConfig,
                               "--setenv", "VUNIT_FPGA_TRACE", c_FpgaTrace});
    }
    cmd.insert(cmd.end(), {"--unsetenv", "TMPDIR", "--chdir", options.workDir, "--"});
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
    const pid_t pid = fork();
    if (pid < 0)
        return -1;
    if (pid == 0)
    {
        execvp(argv[0], argv.data());
        fprintf(stderr, "vunit: cannot start bwrap: %s\n", strerror(errno));
        _exit(127);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        if (errno != EINTR)
            return -1;
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return WEXITSTATUS(status);
}
