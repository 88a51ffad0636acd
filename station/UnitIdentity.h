// Who a unit is: its serial number, versions and product identification,
// read in one round trip over the unit's own transport before its plan.
#pragma once

#include <QByteArray>
#include <QString>

#include <map>

struct UnitIdentity_T
{
    bool read = false;  // the unit answered with every file's state
    bool hasSerial = false;
    QByteArray serial;  // without the file's trailing newline
    QString applicationVersion;
    QString platformVersion;
    // The identification files found, as a JSON object of path and content.
    QString productIdentification;
    QString product;  // derived from the identification files; empty when unknown
};

class CUnitIdentity
{
public:
    // The shell script that prints every identity file: "LENGTH PATH", the
    // content and a newline, or "- PATH" for a file that is not there.
    static QString Script();
    // False when OUTPUT is not what Script() prints.
    static bool Parse(const QByteArray& output, UnitIdentity_T& identity);
    // The product the identification files name, as the program would identify it.
    static QString Product(const std::map<QString, QByteArray>& files);

    static const char* const c_SerialFile;
    static const char* const c_ApplicationVersionFile;
    static const char* const c_PlatformVersionFile;
    static const char* const c_VarrowIdFile;
    static const char* const c_PelionIdFile;
    static const char* const c_BoardIdFile;

private:
    static QString BoardProduct(const QByteArray& reading);
};
