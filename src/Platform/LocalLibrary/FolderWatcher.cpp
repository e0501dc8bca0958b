#include "Platform/LocalLibrary/FolderWatcher.h"

#include "Support/Clock.h"
#include "Support/Log.h"

#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QStringDecoder>
#include <QTimer>
#include <algorithm>

FolderWatcher::FolderWatcher(QObject *parent) : QObject(parent), m_watcher(new QFileSystemWatcher(this))
{
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, &FolderWatcher::noteChange);
}

FolderWatcher::~FolderWatcher() = default;

void FolderWatcher::watch(const QList<QByteArray> &folders)
{
    QSet<QString> wanted;
    m_complete = true;
    for (const QByteArray &folder : folders) {
        QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString path = utf8.decode(folder);
        if (utf8.hasError() || wanted.size() >= maxFolders) {
            m_complete = false;
            continue;
        }
        wanted.insert(path);
    }
    const QSet<QString> gone = m_watched - wanted;
    const QSet<QString> added = wanted - m_watched;
    if (!gone.isEmpty()) {
        m_pending.removeIf([&gone](const QString &path) { return gone.contains(path); });
        m_recheck.subtract(gone);
        m_watcher->removePaths(QStringList(gone.cbegin(), gone.cend()));
    }
    m_watched = std::move(wanted);
    m_failed = 0;
    if (!added.isEmpty()) {
        m_pending.append(QStringList(added.cbegin(), added.cend()));
        if (m_watchedBefore)
            m_recheck.unite(added);
        if (!m_addScheduled)
            addPendingFolders();
    } else if (!m_complete) {
        reportCoverage();
    }
    m_watchedBefore = true;
}

void FolderWatcher::addPendingFolders()
{
    // Each folder costs the system a look and a watch: a library of thousands of folders is taken
    // a slice per turn of the event loop, so the window never waits for all of them. A slice is
    // bounded by time, not by count: on a busy machine 400 folders held the thread 100-300 ms.
    constexpr qsizetype foldersPerStep = 25;
    constexpr qint64 turnBudgetMs = 8;
    m_addScheduled = false;
    if (m_pending.isEmpty())
        return;
    QElapsedTimer turn;
    turn.start();
    QStringList failed;
    QStringList added;
    do {
        const qsizetype count = std::min(foldersPerStep, m_pending.size());
        added += m_pending.first(count);
        failed += m_watcher->addPaths(m_pending.first(count));
        m_pending.remove(0, count);
    } while (!m_pending.isEmpty() && turn.elapsed() < turnBudgetMs);
    for (const QString &path : failed) {
        if (m_failed++ == 0)
            Log::notice(Log::collection(), "Cannot watch a folder of the library for changes: %@", path);
        m_watched.remove(path);
        m_recheck.remove(path);
        m_complete = false;
    }
    if (!m_recheck.isEmpty()) {
        for (const QString &path : std::as_const(added)) {
            if (m_recheck.remove(path))
                noteChange(path);
        }
    }
    if (!m_pending.isEmpty()) {
        m_addScheduled = true;
        QTimer::singleShot(0, this, &FolderWatcher::addPendingFolders);
    } else if (!m_complete) {
        reportCoverage();
    }
}

void FolderWatcher::reportCoverage()
{
    if (m_failed > 1)
        Log::notice(Log::collection(), "Cannot watch %d folders of the library for changes", m_failed);
    Log::info(Log::collection(), "Watching %d folders of the library; changes elsewhere show after Update Library",
              int(m_watched.size()));
}

void FolderWatcher::noteChange(const QString &folder)
{
    m_changed.insert(folder);
    Clock &clock = Clock::shared();
    if (m_firstChange < 0)
        m_firstChange = clock.now();
    const double waited = clock.now() - m_firstChange;
    const double delay = std::clamp(longestDelay - waited, 0.0, quietDelay);
    m_settle = clock.schedule(delay, [this] { settle(); });
}

void FolderWatcher::settle()
{
    m_firstChange = -1;
    m_settle.reset();
    QList<QByteArray> folders;
    folders.reserve(m_changed.size());
    for (const QString &folder : std::as_const(m_changed))
        folders.append(folder.toUtf8());
    m_changed.clear();
    Q_EMIT changed(folders);
}
