// How values travel to and from the results database, alike on both engines.
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>

namespace SqlValue
{
// Never NULL, and no NUL character, which PostgreSQL's text refuses.
inline QVariant Text(const QString& text)
{
    QString result = text.isNull() ? QString("") : text;
    result.replace(QChar(0), QChar(0xFFFD));
    return result;
}

// Bytes as they came; a null array would read as SQL NULL.
inline QVariant Bytes(const QByteArray& bytes)
{
    return bytes.isNull() ? QByteArray("") : bytes;
}

inline QVariant Flag(bool value)
{
    return value ? 1 : 0;
}

inline QVariant NullText()
{
    return QVariant(QVariant::String);
}

inline QVariant NullNumber()
{
    return QVariant(QVariant::Double);
}

// ISO 8601 in UTC to the millisecond: sorts as text, reads the same everywhere.
inline QVariant Time(const QDateTime& time)
{
    return time.isValid() ? QVariant(time.toUTC().toString(Qt::ISODateWithMs)) : NullText();
}

inline QDateTime ReadTime(const QVariant& value)
{
    return value.isNull() ? QDateTime() : QDateTime::fromString(value.toString(), Qt::ISODateWithMs).toUTC();
}
}
