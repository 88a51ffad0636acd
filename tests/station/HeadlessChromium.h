// Headless Chromium driven over its DevTools pipe: a page of a fixed size,
// loaded, scripts evaluated in it and a screenshot of what it drew.
// Chromium's own --screenshot copies the first frame after the load event,
// which on a busy machine may still lack raster tiles; here the page is asked
// for two more frames first, and every compositor stage runs before a draw.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QTemporaryDir>

#include <sys/types.h>

class CHeadlessChromium
{
public:
    CHeadlessChromium() = default;
    ~CHeadlessChromium();
    CHeadlessChromium(const CHeadlessChromium&) = delete;
    CHeadlessChromium& operator=(const CHeadlessChromium&) = delete;

    bool Start(const QString& chromium, QString& error);
    // Opens URL in a new page with a WIDTH x HEIGHT viewport, after its load
    // event and two animation frames.
    bool Open(const QString& url, int width, int height, QString& error);
    bool Evaluate(const QString& expression, QJsonValue& value, QString& error);
    // PNG bytes of the viewport.
    bool Screenshot(QByteArray& png, QString& error);

private:
    bool Call(const QString& method, const QJsonObject& params, QJsonObject& result, QString& error,
              bool inPage = true);
    bool Send(const QJsonObject& message, QString& error);
    // The next message from the browser; false after the time-out or at its end.
    bool Receive(QJsonObject& message, QString& error);
    bool WaitForEvent(const QString& method, QString& error);

    QTemporaryDir m_Profile;
    pid_t m_Pid = -1;
    int m_ToBrowser = -1;
    int m_FromBrowser = -1;
    QByteArray m_Pending;
    int m_NextId = 1;
    QString m_Session;
    QList<QJsonObject> m_Events;  // events that came while a call waited for its answer
};
