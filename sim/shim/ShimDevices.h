#ifndef SHIMDEVICES_H
#define SHIMDEVICES_H

#include "FpgaModel.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

// What the preloaded device shim knows: the unit's simulated FPGAs (read from
// $VUNIT_FPGA_CONFIG, traced to $VUNIT_FPGA_TRACE) and which descriptors of
// the program stand for one of them. An SPI node's descriptor is a memfd, so
// fdopen and record locks work on it; nothing but the shim may put data into
// it (the tripwire). A UART node is the slave of a pseudo-terminal whose
// master a thread serves.
class CShimDevices
{
public:
    typedef int (*OpenFunction_T)(const char*, int, ...);

    static CShimDevices& Instance();

    // -1 with errno when `path` is not simulated (errno 0) or cannot be opened.
    int Open(const char* path, int flags);
    CFpgaModel* Model(int fd);  // the SPI model behind fd, or null
    void Forget(int fd);        // fd is about to be closed
    void AfterShellCommand(const char* command);
    void CheckTripwires();

private:
    struct Node_T
    {
        FpgaSetup_T setup;
        std::unique_ptr<CFpgaModel> model;
    };
    struct Open_T
    {
        dev_t device;
        ino_t inode;
        Node_T* node;
    };

    CShimDevices();
    int OpenPty(Node_T& node, int flags);
    void Tripwire(int fd, Node_T& node);
    static void Serve(Node_T* node, int master);

    std::unique_ptr<CFpgaTrace> m_Trace;
    std::vector<std::unique_ptr<Node_T>> m_Nodes;
    std::map<int, Open_T> m_Open;
    std::mutex m_Mutex;
};

#endif
