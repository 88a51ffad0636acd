#ifndef UNITPROFILE_H
#define UNITPROFILE_H

#include <string>
#include <vector>

// What a simulated unit holds: files at absolute paths, folders, scripts and
// placeholders for device nodes. Read from a profile file and amended from the
// launcher's command line; a later entry for a path replaces an earlier one.
class CUnitProfile
{
public:
    enum EntryKind_T
    {
        ENTRY_FILE,
        ENTRY_EXEC,
        ENTRY_DIR,
        ENTRY_DEVICE,
        ENTRY_REMOVE,
        ENTRY_MODE
    };

    struct Entry_T
    {
        EntryKind_T kind;
        std::string path;
        std::string content;  // file bytes, already unescaped
        unsigned int mode;    // for ENTRY_MODE
    };

    // Loads "<name>.unit" from unitsDir (or the file itself when name holds a '/').
    // Returns false with a reason in error.
    bool Load(const std::string& unitsDir, const std::string& name, std::string& error);

    // One profile line, such as "file /VERSION 1.2\n".
    bool ParseLine(const std::string& line, const std::string& unitsDir, std::string& error, int depth = 0);

    void Add(EntryKind_T kind, const std::string& path, const std::string& content = std::string(),
             unsigned int mode = 0);

    // The entries that remain after later entries replaced earlier ones, in order.
    std::vector<Entry_T> Resolved() const;

    const std::string& Description() const { return m_Description; }

    // The unit's serial number file holds TEXT and a newline, as a unit's own does.
    static const char* const c_SerialFile;
    void SetSerial(const std::string& text) { Add(ENTRY_FILE, c_SerialFile, text + "\n"); }

    // The simulated FPGAs: "PATH MODEL [OPTION=VALUE...]", one per node; a
    // later line for a node replaces an earlier one.
    std::vector<std::string> Fpgas() const;
    // Appends "OPTION=VALUE..." to every FPGA line, where later options win;
    // false with a reason for a bad option or a unit without an FPGA.
    bool AddFpgaOptions(const std::string& options, std::string& error);

    // "\n", "\t", "\\", "\0" and "\xHH" become their bytes.
    static bool Unescape(const std::string& text, std::string& bytes);
    static bool ParseMode(const std::string& text, unsigned int& mode);

private:
    bool LoadFile(const std::string& unitsDir, const std::string& name, std::string& error, int depth);

    std::vector<Entry_T> m_Entries;
    std::vector<std::pair<std::string, std::string>> m_Fpgas;  // node, line
    std::string m_Description;
};

#endif
