#include "Platform/LocalLibrary/FolderWatcher.h"

#include "Support/Clock.h"
#include "Support/Log.h"

#include <QElapsedTimer>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#endif

FolderWatcher::FolderWatcher(QObject *parent) : QObject(parent)
{
#ifdef Q_OS_LINUX
    m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot watch the library for changes: %s", std::strerror(errno));
        return;
    }
    m_notifier = new QSocketNotifier(m_inotify, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &FolderWatcher::readEvents);
#endif
}

FolderWatcher::~FolderWatcher()
{
    if (m_inotify >= 0)
        ::close(m_inotify);
}

bool FolderWatcher::addWatch(const QByteArray &folder)
{
#ifdef Q_OS_LINUX
    // Entries that come, go or move, files written and closed (a tag saved in place), times and
    // permissions changed, and the folder itself removed or moved.
    constexpr quint32 events = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB |
                               IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    const int watch = m_inotify < 0 ? -1 : inotify_add_watch(m_inotify, folder.constData(), events);
    if (watch < 0)
        return false;
    m_watches.insert(folder, watch);
    // Two names of one real folder share a watch; its events go to the first.
    if (!m_folders.contains(watch))
        m_folders.insert(watch, folder);
    return true;
#else
    Q_UNUSED(folder);
    return false;
#endif
}

void FolderWatcher::removeWatch(const QByteArray &folder)
{
    const auto found = m_watches.constFind(folder);
    if (found == m_watches.constEnd())
        return;
    const int watch = *found;
    m_watches.erase(found);
    if (m_folders.value(watch) != folder)
        return;
    m_folders.remove(watch);
    // The watch goes with its first name unless another name of the folder is still watched.
    for (auto other = m_watches.cbegin(); other != m_watches.cend(); ++other) {
        if (*other == watch) {
            m_folders.insert(watch, other.key());
            return;
        }
    }
#ifdef Q_OS_LINUX
    inotify_rm_watch(m_inotify, watch);
#endif
}

void FolderWatcher::readEvents()
{
#ifdef Q_OS_LINUX
    alignas(inotify_event) char buffer[16384];
    for (;;) {
        const ssize_t length = ::read(m_inotify, buffer, sizeof buffer);
        if (length <= 0)
            break;
        for (ssize_t at = 0; at < length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            at += ssize_t(sizeof(inotify_event) + event->len);
            if (event->mask & IN_Q_OVERFLOW) {
                LUMEVAR_NOTICE(Log::collection(), "Too many changes in the library at once to follow; it is read again whole");
                m_lostChanges = true;
                noteChange({});
                continue;
            }
            const auto folder = m_folders.constFind(event->wd);
            if (folder == m_folders.constEnd())
                continue;
            if (event->mask & IN_IGNORED) {
                // The folder went away (its parent's change says so): a folder made again at its
                // path is a new folder, to be watched anew when the next listing names it.
                m_watches.remove(*folder);
                m_watched.remove(*folder);
                m_folders.erase(folder);
                continue;
            }
            noteChange(*folder);
        }
    }
#endif
}

void FolderWatcher::watch(const QList<QByteArray> &folders)
{
    QSet<QByteArray> wanted;
    m_complete = m_inotify >= 0;
    for (const QByteArray &folder : folders) {
        if (wanted.size() >= maxFolders) {
            m_complete = false;
            break;
        }
        wanted.insert(folder);
    }
    const QSet<QByteArray> gone = m_watched - wanted;
    const QSet<QByteArray> added = wanted - m_watched;
    if (!gone.isEmpty()) {
        m_pending.removeIf([&gone](const QByteArray &path) { return gone.contains(path); });
        m_recheck.subtract(gone);
        for (const QByteArray &folder : gone)
            removeWatch(folder);
    }
    m_watched = std::move(wanted);
    m_failed = 0;
    if (!added.isEmpty()) {
        m_pending.append(QList<QByteArray>(added.cbegin(), added.cend()));
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
    // A library of thousands of folders is taken a slice per turn of the event loop, so the
    // window never waits for all of them. A slice is bounded by time, not by count: the system's
    // look at each folder can take long on a busy machine or a slow disk.
    constexpr qsizetype foldersPerStep = 25;
    constexpr qint64 turnBudgetMs = 8;
    m_addScheduled = false;
    if (m_pending.isEmpty())
        return;
    QElapsedTimer turn;
    turn.start();
    do {
        const qsizetype count = std::min(foldersPerStep, m_pending.size());
        for (qsizetype i = 0; i < count; ++i) {
            const QByteArray &folder = m_pending[i];
            if (addWatch(folder)) {
                if (m_recheck.remove(folder))
                    noteChange(folder);
                continue;
            }
            if (m_failed++ == 0)
                LUMEVAR_NOTICE(Log::collection(), "Cannot watch a folder of the library for changes: %@ (%s)",
                               QString::fromLocal8Bit(folder), std::strerror(errno));
            m_watched.remove(folder);
            m_recheck.remove(folder);
            m_complete = false;
        }
        m_pending.remove(0, count);
    } while (!m_pending.isEmpty() && turn.elapsed() < turnBudgetMs);
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
        LUMEVAR_NOTICE(Log::collection(), "Cannot watch %d folders of the library for changes", m_failed);
    LUMEVAR_INFO(Log::collection(), "Watching %d folders of the library; changes elsewhere show after Update Library",
                 int(m_watched.size()));
}

void FolderWatcher::noteChange(const QByteArray &folder)
{
    if (!folder.isEmpty())
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
    if (!std::exchange(m_lostChanges, false))
        folders = QList<QByteArray>(m_changed.cbegin(), m_changed.cend());
    m_changed.clear();
    Q_EMIT changed(folders);
}
