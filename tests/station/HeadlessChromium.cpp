#include "HeadlessChromium.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace
{
// A busy machine starts and draws slowly; a browser that says nothing for this long is stuck.
const int c_AnswerMilliseconds = 60000;
}

CHeadlessChromium::~CHeadlessChromium()
{
    if (m_Pid <= 0)
        return;
    QJsonObject ignored;
    QString error;
    Call("Browser.close", QJsonObject(), ignored, error, false);
    close(m_ToBrowser);
    for (int i = 0; i < 100 && waitpid(m_Pid, nullptr, WNOHANG) == 0; ++i)
        usleep(50000);
    if (waitpid(m_Pid, nullptr, WNOHANG) == 0)
    {
        kill(m_Pid, SIGKILL);
        waitpid(m_Pid, nullptr, 0);
    }
    close(m_FromBrowser);
}

bool CHeadlessChromium::Start(const QString& chromium, QString& error)
{
    // Chromium reads its commands on descriptor 3 and answers on 4.
    int commands[2];
    int answers[2];
    if (!m_Profile.isValid() || pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0)
    {
        error = "cannot make the browser's pipes";
        return false;
    }
    const QStringList arguments = {chromium,
                                   "--headless",
                                   "--no-sandbox",
                                   "--disable-gpu",
                                   "--disable-quic",
                                   "--no-first-run",
                                   "--disable-background-networking",
                                   "--disable-component-update",
                                   "--disable-sync",
                                   "--hide-scrollbars",
                                   "--run-all-compositor-stages-before-draw",
                                   "--remote-debugging-pipe",
                                   "--user-data-dir=" + m_Profile.path(),
                                   "about:blank"};
    std::vector<QByteArray> words;
    for (const QString& word : arguments)
        words.push_back(word.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, commands[0], 3);
    posix_spawn_file_actions_adddup2(&actions, answers[1], 4);
    const int status = posix_spawn(&m_Pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(commands[0]);
    close(answers[1]);
    m_ToBrowser = commands[1];
    m_FromBrowser = answers[0];
    if (status != 0)
    {
        m_Pid = -1;
        close(m_ToBrowser);
        close(m_FromBrowser);
        error = QString("cannot start %1: %2").arg(chromium, strerror(status));
        return false;
    }
    // The browser never makes us die of a closed pipe.
    signal(SIGPIPE, SIG_IGN);
    return true;
}

bool CHeadlessChromium::Send(const QJsonObject& message, QString& error)
{
    const QByteArray bytes = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\0';
    for (qint64 done = 0; done < bytes.size();)
    {
        const ssize_t wrote = write(m_ToBrowser, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0)
        {
            error = "the browser stopped reading";
            return false;
        }
        done += wrote;
    }
    return true;
}

bool CHeadlessChromium::Receive(QJsonObject& message, QString& error)
{
    QElapsedTimer timer;
    timer.start();
    for (;;)
    {
        const int end = m_Pending.indexOf('\0');
        if (end >= 0)
        {
            message = QJsonDocument::fromJson(m_Pending.left(end)).object();
            m_Pending.remove(0, end + 1);
            return true;
        }
        const qint64 left = c_AnswerMilliseconds - timer.elapsed();
        pollfd fd = {m_FromBrowser, POLLIN, 0};
        if (left <= 0 || poll(&fd, 1, static_cast<int>(left)) == 0)
        {
            error = "the browser did not answer in time";
            return false;
        }
        char buffer[65536];
        const ssize_t got = read(m_FromBrowser, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
        {
            error = "the browser ended";
            return false;
        }
        m_Pending.append(buffer, static_cast<int>(got));
    }
}

bool CHeadlessChromium::Call(const QString& method, const QJsonObject& params, QJsonObject& result, QString& error,
                             bool inPage)
{
    const int id = m_NextId++;
    QJsonObject message{{"id", id}, {"method", method}, {"params", params}};
    if (inPage)
        message.insert("sessionId", m_Session);
    if (!Send(message, error))
        return false;
    QJsonObject answer;
    while (Receive(answer, error))
    {
        if (!answer.contains("id"))
        {
            m_Events.append(answer);
            continue;
        }
        if (answer["id"].toInt() != id)
            continue;
        if (answer.contains("error"))
        {
            error = method + ": " + answer["error"].toObject()["message"].toString();
            return false;
        }
        result = answer["result"].toObject();
        return true;
    }
    return false;
}

bool CHeadlessChromium::WaitForEvent(const QString& method, QString& error)
{
    for (;;)
    {
        for (int i = 0; i < m_Events.size(); ++i)
            if (m_Events[i]["method"].toString() == method && m_Events[i]["sessionId"].toString() == m_Session)
            {
                m_Events.removeAt(i);
                return true;
            }
        QJsonObject message;
        if (!Receive(message, error))
            return false;
        m_Events.append(message);
    }
}

bool CHeadlessChromium::Open(const QString& url, int width, int height, QString& error)
{
    QJsonObject result;
    if (!Call("Target.createTarget", QJsonObject{{"url", "about:blank"}}, result, error, false))
        return false;
    const QString target = result["targetId"].toString();
    if (!Call("Target.attachToTarget", QJsonObject{{"targetId", target}, {"flatten", true}}, result, error, false))
        return false;
    m_Session = result["sessionId"].toString();
    m_Events.clear();
    const QJsonObject metrics{{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", false}};
    if (!Call("Emulation.setDeviceMetricsOverride", metrics, result, error) ||
        !Call("Page.enable", QJsonObject(), result, error) ||
        !Call("Page.navigate", QJsonObject{{"url", url}}, result, error) || !WaitForEvent("Page.loadEventFired", error))
        return false;
    // The first frame after the load may be drawn before all its tiles were; by
    // the second one asked for, with every stage run before drawing, they are.
    QJsonValue ignored;
    return Evaluate("new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(true))))",
                    ignored, error);
}

bool CHeadlessChromium::Evaluate(const QString& expression, QJsonValue& value, QString& error)
{
    QJsonObject result;
    if (!Call("Runtime.evaluate",
              QJsonObject{{"expression", expression}, {"awaitPromise", true}, {"returnByValue", true}}, result, error))
        return false;
    if (result.contains("exceptionDetails"))
    {
        error = "the page's script failed: " + result["exceptionDetails"].toObject()["text"].toString();
        return false;
    }
    value = result["result"].toObject()["value"];
    return true;
}

bool CHeadlessChromium::Screenshot(QByteArray& png, QString& error)
{
    QJsonObject result;
    if (!Call("Page.captureScreenshot", QJsonObject{{"format", "png"}}, result, error))
        return false;
    png = QByteArray::fromBase64(result["data"].toString().toLatin1());
    return !png.isEmpty();
}
