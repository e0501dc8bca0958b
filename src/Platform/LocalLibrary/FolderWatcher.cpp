#include "Platform/LocalLibrary/FolderWatcher.h"

#include "Support/Clock.h"
#include "Support/Log.h"

#include <QFileSystemWatcher>
#include <QStringDecoder>
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
    const QStringList gone(QList<QString>((m_watched - wanted).cbegin(), (m_watched - wanted).cend()));
    const QSet<QString> added = wanted - m_watched;
    if (!gone.isEmpty())
        m_watcher->removePaths(gone);
    if (!added.isEmpty()) {
        const QStringList failed = m_watcher->addPaths(QStringList(added.cbegin(), added.cend()));
        if (!failed.isEmpty()) {
            m_complete = false;
            Log::notice(Log::collection(), "Cannot watch %d folders of the library for changes (first: %@)", int(failed.size()),
                        failed.first());
            for (const QString &path : failed)
                wanted.remove(path);
        }
    }
    m_watched = std::move(wanted);
    if (!m_complete)
        Log::info(Log::collection(), "Watching %d folders of the library; changes elsewhere show after Update Library",
                  int(m_watched.size()));
}

void FolderWatcher::noteChange()
{
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
    Q_EMIT changed();
}
