#pragma once
// Watches the folders of a music library for files that come, go or change, and reports a burst
// of changes once it has settled: after quietDelay seconds without news, and no later than
// longestDelay seconds after the first, so a long copy still shows up as it goes. At most
// maxFolders folders are watched (the system's watches are limited); names that are not UTF-8
// cannot be watched. isComplete() says whether every folder is. Times run on Clock::shared().
// Folders are handed to the system a few milliseconds' worth per turn of the event loop (see
// addPendingFolders). A burst names the folders that changed. A folder added to the watch after
// the first watch() counts as changed once its watch is set: what came into it between the
// listing that found it and the watch would otherwise go unseen.

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <memory>

class QFileSystemWatcher;
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
    void changed(const QList<QByteArray> &folders);

private:
    void addPendingFolders();
    void reportCoverage();
    void noteChange(const QString &folder);
    void settle();

    QFileSystemWatcher *m_watcher;
    QSet<QString> m_watched;     // asked for, including those still waiting in m_pending
    QStringList m_pending;       // folders not handed to the system yet
    QSet<QString> m_recheck;     // folders of m_pending that count as changed once watched
    QSet<QString> m_changed;     // folders changed in the burst that is settling
    bool m_watchedBefore = false;
    int m_failed = 0;            // folders the system refused since the last watch()
    bool m_addScheduled = false; // the next slice waits for its turn
    bool m_complete = true;
    double m_firstChange = -1;
    std::unique_ptr<ScheduledCall> m_settle;
};
