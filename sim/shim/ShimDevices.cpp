#include "ShimDevices.h"

#include "LowscanUartModel.h"
#include "RealCalls.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

CShimDevices& CShimDevices::Instance()
{
    // Never destroyed: calls may arrive from exit handlers and other threads.
    static CShimDevices* instance = new CShimDevices();
    return *instance;
}

CShimDevices::CShimDevices()
{
    const char* tracePath = getenv("VUNIT_FPGA_TRACE");
    m_Trace.reset(new CFpgaTrace(tracePath ? tracePath : "/dev/null"));
    const char* config = getenv("VUNIT_FPGA_CONFIG");
    if (!config)
        return;
    std::ifstream in(config);
    std::string line, error;
    while (std::getline(in, line))
    {
        std::unique_ptr<Node_T> node(new Node_T);
        if (!FpgaSetup_T::Parse(line, node->setup, error))
        {
            m_Trace->Line("shim", "bad configuration line: " + error);
            continue;
        }
        node->model = CFpgaModel::Create(node->setup, *m_Trace);
        m_Nodes.push_back(std::move(node));
    }
    // The second serial port of a Lowscan FPGA answers for the one it follows.
    for (auto& port : m_Nodes)
        for (auto& leader : m_Nodes)
            if (port->setup.model == "lowscan-uart" && leader->setup.model == "lowscan-uart" &&
                port->setup.follow == leader->setup.path)
                static_cast<CLowscanUartModel*>(leader->model.get())
                    ->AddPort(static_cast<CLowscanUartModel*>(port->model.get()));
}

int CShimDevices::Open(const char* path, int flags)
{
    Node_T* node = nullptr;
    for (auto& candidate : m_Nodes)
        if (path && candidate->setup.path == path)
            node = candidate.get();
    if (!node)
    {
        errno = 0;
        return -1;
    }
    if (node->setup.model == "lowscan-uart")
        return OpenPty(*node, flags);

    const int fd = memfd_create(node->setup.Name().c_str(), (flags & O_CLOEXEC) ? MFD_CLOEXEC : 0);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0)
        return -1;
    std::lock_guard<std::mutex> lock(m_Mutex);
    m_Open[fd] = Open_T{st.st_dev, st.st_ino, node};
    node->model->Trace("open");
    return fd;
}

CFpgaModel* CShimDevices::Model(int fd)
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    const auto it = m_Open.find(fd);
    if (it == m_Open.end())
        return nullptr;
    // A descriptor closed behind our back now names another file.
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_dev != it->second.device || st.st_ino != it->second.inode)
    {
        m_Open.erase(it);
        return nullptr;
    }
    return it->second.node->model.get();
}

void CShimDevices::Forget(int fd)
{
    if (!Model(fd))
        return;
    std::lock_guard<std::mutex> lock(m_Mutex);
    Node_T* node = m_Open[fd].node;
    Tripwire(fd, *node);
    node->model->Trace("close");
    m_Open.erase(fd);
}

void CShimDevices::Tripwire(int fd, Node_T& node)
{
    struct stat st;
    if (fstat(fd, &st) == 0 && st.st_size != 0)
    {
        node.model->Trace("TRIPWIRE: " + std::to_string(st.st_size) +
                          " bytes reached the node without passing the shim");
        fprintf(stderr, "vunit shim: TRIPWIRE on %s\n", node.setup.path.c_str());
    }
}

void CShimDevices::CheckTripwires()
{
    std::lock_guard<std::mutex> lock(m_Mutex);
    for (auto& open : m_Open)
        Tripwire(open.first, *open.second.node);
}

void CShimDevices::AfterShellCommand(const char* command)
{
    // A shell outside the shim wrote to the bound placeholder file: that is a
    // firmware load. The placeholder is emptied so the next load starts clean.
    for (auto& node : m_Nodes)
    {
        if (node->setup.model == "lowscan-uart")
            continue;
        const int fd = RealOpen(node->setup.path.c_str(), O_RDWR | O_CLOEXEC);
        if (fd < 0)
            continue;
        std::string bytes;
        char buffer[4096];
        ssize_t n;
        while ((n = RealRead(fd, buffer, sizeof buffer)) > 0)
            bytes.append(buffer, static_cast<size_t>(n));
        if (!bytes.empty() && ftruncate(fd, 0) != 0)
            node->model->Trace("cannot empty the placeholder");
        RealClose(fd);
        if (bytes.empty())
            continue;
        std::lock_guard<std::mutex> lock(node->model->Mutex());
        node->model->Trace(std::string("shell: ") + (command ? command : ""));
        node->model->LoadFirmware(bytes);
        for (auto& other : m_Nodes)
            if (other->setup.follow == node->setup.path)
            {
                std::lock_guard<std::mutex> otherLock(other->model->Mutex());
                other->model->LoadFirmware(bytes);
            }
    }
}

int CShimDevices::OpenPty(Node_T& node, int flags)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 || ptsname_r(master, name, sizeof name) != 0)
        return -1;
    const int slave = RealOpen(name, (flags & (O_CLOEXEC | O_NONBLOCK | O_ACCMODE)) | O_NOCTTY);
    if (slave < 0)
        return -1;
    {
        std::lock_guard<std::mutex> lock(node.model->Mutex());
        node.model->Trace(std::string("open (pty ") + name + ")");
    }
    std::thread(Serve, &node, master).detach();
    return slave;
}

// Serves the master side until the program closes the slave.
void CShimDevices::Serve(Node_T* node, int master)
{
    uint8_t buffer[4096];
    for (;;)
    {
        // Woken now and then for what another port's ping left to send.
        struct pollfd entry = {master, POLLIN, 0};
        const int ready = RealPoll(&entry, 1, 20);
        if (ready < 0 && errno != EINTR)
            break;
        if (entry.revents & (POLLHUP | POLLERR))
            break;
        ssize_t n = 0;
        if (entry.revents & POLLIN)
        {
            n = RealRead(master, buffer, sizeof buffer);
            if (n <= 0)
                break;
        }
        std::string reply;
        {
            std::lock_guard<std::mutex> lock(node->model->Mutex());
            if (n > 0)
                node->model->Write(buffer, static_cast<size_t>(n));
            uint8_t out[4096];
            long got;
            while ((got = node->model->Read(out, sizeof out)) > 0)
                reply.append(reinterpret_cast<char*>(out), static_cast<size_t>(got));
        }
        size_t done = 0;
        while (done < reply.size())
        {
            const ssize_t w = RealWrite(master, reply.data() + done, reply.size() - done);
            if (w <= 0)
                break;
            done += static_cast<size_t>(w);
        }
    }
    std::lock_guard<std::mutex> lock(node->model->Mutex());
    node->model->Trace("close");
    RealClose(master);
}
