#ifndef KEPTUNIT_H
#define KEPTUNIT_H

#include <string>

// A fresh folder for a unit kept with --unit-dir, removed with the object, so
// a test that stops early on a failed assertion still leaves nothing behind.
class CKeptUnit
{
public:
    CKeptUnit();
    ~CKeptUnit();

    CKeptUnit(const CKeptUnit&) = delete;
    CKeptUnit& operator=(const CKeptUnit&) = delete;

    const std::string& Dir() const { return m_Dir; }

private:
    std::string m_Dir;
};

#endif
