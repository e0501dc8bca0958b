#pragma once
// Watches the folders of a music library for files that come, go or change, and reports a burst
// of changes once it has settled: after quietDelay seconds without news, and no later than
// longestDelay seconds after the first, so a long copy still shows up as it goes. At most
// maxFolders folders are watched; isComplete() says whether every folder is. Times run on
// Clock::shared(). Folders are handed to the system a few milliseconds' worth per turn of the
// event loop (see addPendingFolders). A burst names the folders that changed. A folder added to
// the watch after the first watch() counts as changed once its watch is set: what came into it
// between the listing that found it and the watch would otherwise go unseen.
//
// On Linux the folders are watched with inotify directly, by the bytes of their names (a name
// that is not UTF-8 is watched like any other), and a file written in place counts as a change:
// QFileSystemWatcher watches folders only for entries that come and go, so a tag editor that
// rewrites a file where it stands went unseen. Elsewhere no folder can be watched (isComplete()
// is false) and changes show after Update Library.

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <memory>

class QSocketNotifier;
class ScheduledCall;

class FolderWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr double quietDelay = 0.3;   // seconds
    static constexpr double longestDelay = 1.0; // seconds
    static constexpr int maxFolders = 20000;

    explicit FolderWatcher(QObject *parent = nullptr);
    ~FolderWatcher() override;

    // Watches exactly these folders (absolute paths as bytes) from now on.
    void watch(const QList<QByteArray> &folders);
    bool isComplete() const { return m_complete; }

Q_SIGNALS:
    // Something changed in these watched folders (absolute paths as bytes); bursts come as one.
    // An empty list: the system lost track of some changes, so any folder may have changed.
    void changed(const QList<QByteArray> &folders);

private:
    bool addWatch(const QByteArray &folder);
    void removeWatch(const QByteArray &folder);
    void readEvents();
    void addPendingFolders();
    void reportCoverage();
    void noteChange(const QByteArray &folder);
    void settle();

    int m_inotify = -1;
    QSocketNotifier *m_notifier = nullptr;
    QHash<QByteArray, int> m_watches;  // folder -> the system's watch
    QHash<int, QByteArray> m_folders;  // and back
    QSet<QByteArray> m_watched;        // asked for, including those still waiting in m_pending
    QList<QByteArray> m_pending;       // folders not handed to the system yet
    QSet<QByteArray> m_recheck;        // folders of m_pending that count as changed once watched
    QSet<QByteArray> m_changed;        // folders changed in the burst that is settling
    bool m_lostChanges = false;        // the burst that is settling lost track of some changes
    bool m_watchedBefore = false;
    int m_failed = 0;                  // folders the system refused since the last watch()
    bool m_addScheduled = false;       // the next slice waits for its turn
    bool m_complete = true;
    double m_firstChange = -1;
    std::unique_ptr<ScheduledCall> m_settle;
};
