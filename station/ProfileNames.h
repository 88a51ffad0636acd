// The virtual unit profiles a launcher offers, as "vunit --list" prints them,
// and the nearest of them to a misspelt name.
#pragma once

#include <QString>
#include <QStringList>

class CProfileNames
{
public:
    // Asks the launcher; false when it lists nothing.
    bool Load(const QString& vunit);
    explicit CProfileNames(const QStringList& names = QStringList()) : m_Names(names) {}

    bool Contains(const QString& name) const { return m_Names.contains(name); }
    // The profiles nearest to NAME (all of them when several are as near), or
    // none when nothing is near enough to be a slip of the keyboard.
    QStringList Closest(const QString& name) const;
    // Letters inserted, removed, replaced or swapped with a neighbour.
    static int Distance(const QString& a, const QString& b);

private:
    QStringList m_Names;
};
