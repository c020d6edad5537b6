#pragma once

#include "platform/Clock.h"
#include "platform/ProcessControl.h"
#include "platform/ProgramStarter.h"
#include "platform/TrayIcon.h"

#include <QList>

// A clock that says what the test tells it.
class FixedClock final : public Clock
{
public:
    explicit FixedClock(QDateTime now = QDateTime(QDate(2026, 11, 22), QTime(9, 30, 0))) : m_now(std::move(now)) {}
    QDateTime now() const override { return m_now; }
    void setNow(const QDateTime& now) { m_now = now; }

private:
    QDateTime m_now;
};

// Records the end of the process instead of ending it.
class RecordingProcessControl final : public ProcessControl
{
public:
    void endProcess(int exitCode) override { m_exitCodes.append(exitCode); }
    bool hasEnded() const override { return !m_exitCodes.isEmpty(); }
    const QList<int>& exitCodes() const { return m_exitCodes; }

private:
    QList<int> m_exitCodes;
};

// Records what the program asked to start or open, and starts nothing.
class RecordingStarter final : public ProgramStarter
{
public:
    struct Start
    {
        QString program;
        QStringList arguments;
    };

    bool startProgram(const QString& program, const QStringList& arguments = {}) override
    {
        m_programs.append({program, arguments});
        return true;
    }
    bool openDocument(const QString& path) override
    {
        m_documents.append(path);
        return m_opens;
    }
    bool openUrl(const QUrl& url) override
    {
        m_urls.append(url);
        return m_opens;
    }
    // A desktop without a handler for documents and web pages.
    void setOpens(bool opens) { m_opens = opens; }

    const QList<Start>& programs() const { return m_programs; }
    const QStringList& documents() const { return m_documents; }
    const QList<QUrl>& urls() const { return m_urls; }

private:
    QList<Start> m_programs;
    QStringList m_documents;
    QList<QUrl> m_urls;
    bool m_opens = true;
};

// The notification-area icon's record, on a desktop that offers a tray or not.
class RecordingTrayIcon final : public TrayIcon
{
public:
    void add(TrayPicture picture, const QString&) override
    {
        m_added = true;
        m_current = picture;
    }
    void change(TrayPicture picture, const QString&) override { m_current = picture; }
    void remove() override { m_added = false; }
    TrayPicture current() const override { return m_current; }
    bool isAdded() const override { return m_added; }
    bool isAvailable() const override { return m_available; }
    void setAvailable(bool available) { m_available = available; }

private:
    TrayPicture m_current = TrayPicture::None;
    bool m_added = false;
    bool m_available = true;
};
