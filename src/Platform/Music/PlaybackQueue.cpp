#include "Platform/Music/PlaybackQueue.h"

#include <QSet>
#include <algorithm>
#include <atomic>

PlaybackQueue::Entry PlaybackQueue::makeEntry(const Song &song)
{
    static std::atomic<quint64> nextID{1};
    Entry entry;
    entry.id = QStringLiteral("entry-%1").arg(nextID.fetch_add(1));
    entry.title = song.title;
    entry.subtitle = song.artistName;
    entry.item = song;
    entry.artwork = song.artwork;
    return entry;
}

QList<PlaybackQueue::Entry> PlaybackQueue::makeEntries(const QList<Song> &songs)
{
    QList<Entry> entries;
    entries.reserve(songs.size());
    for (const auto &song : songs)
        entries.append(makeEntry(song));
    return entries;
}

void PlaybackQueue::reset(QList<Entry> entries)
{
    m_entries = std::move(entries);
    m_current = m_entries.isEmpty() ? -1 : 0;
    m_unshuffledOrder.reset();
}

bool PlaybackQueue::replace(QList<Entry> entries)
{
    const QString currentID = current() ? current()->id : QString();
    const int oldCurrent = m_current;
    m_entries = std::move(entries);
    if (m_unshuffledOrder) {
        // Entries new to the queue join the remembered order at its end.
        QSet<QString> known(m_unshuffledOrder->cbegin(), m_unshuffledOrder->cend());
        for (const auto &entry : std::as_const(m_entries))
            if (!known.contains(entry.id))
                m_unshuffledOrder->append(entry.id);
    }
    if (oldCurrent < 0) {
        m_current = -1;
        return false;
    }
    const int kept = indexOf(currentID);
    m_current = kept >= 0 ? kept : (oldCurrent < size() ? oldCurrent : -1);
    return kept < 0;
}

void PlaybackQueue::append(QList<Entry> entries)
{
    if (m_unshuffledOrder)
        for (const auto &entry : std::as_const(entries))
            m_unshuffledOrder->append(entry.id);
    m_entries.append(std::move(entries));
}

bool PlaybackQueue::remove(const QList<int> &offsets)
{
    QSet<int> doomed;
    for (int offset : offsets)
        if (offset >= 0 && offset < size())
            doomed.insert(offset);
    if (doomed.isEmpty())
        return false;
    const bool currentRemoved = doomed.contains(m_current);
    int newCurrent = -1;
    QList<Entry> kept;
    kept.reserve(size() - doomed.size());
    for (int i = 0; i < size(); ++i) {
        // After a removed current entry, the next surviving one takes its place.
        if (i == m_current && !currentRemoved)
            newCurrent = int(kept.size());
        if (currentRemoved && i > m_current && newCurrent < 0 && !doomed.contains(i))
            newCurrent = int(kept.size());
        if (!doomed.contains(i))
            kept.append(m_entries[i]);
    }
    m_entries = std::move(kept);
    m_current = newCurrent;
    return currentRemoved;
}

void PlaybackQueue::move(const QList<int> &offsets, int destination)
{
    QList<int> moving;
    for (int offset : offsets)
        if (offset >= 0 && offset < size() && !moving.contains(offset))
            moving.append(offset);
    if (moving.isEmpty())
        return;
    std::sort(moving.begin(), moving.end());
    destination = std::clamp(destination, 0, size());
    const QString currentID = current() ? current()->id : QString();

    QList<Entry> moved;
    QList<Entry> rest;
    for (int i = 0; i < size(); ++i)
        (moving.contains(i) ? moved : rest).append(m_entries[i]);
    const auto before = std::count_if(moving.cbegin(), moving.cend(), [&](int offset) { return offset < destination; });
    const int insertAt = destination - int(before);
    for (int i = 0; i < moved.size(); ++i)
        rest.insert(insertAt + i, moved[i]);
    m_entries = std::move(rest);
    if (m_current >= 0)
        m_current = indexOf(currentID);
}

void PlaybackQueue::setCurrentIndex(int index) { m_current = (index >= 0 && index < size()) ? index : -1; }

std::optional<int> PlaybackQueue::nextIndex(bool wrap) const
{
    if (m_current < 0)
        return std::nullopt;
    if (m_current + 1 < size())
        return m_current + 1;
    if (wrap && !isEmpty())
        return 0;
    return std::nullopt;
}

std::optional<int> PlaybackQueue::previousIndex() const
{
    if (m_current > 0)
        return m_current - 1;
    return std::nullopt;
}

void PlaybackQueue::shuffle(bool keepPlayed)
{
    if (!m_unshuffledOrder) {
        QStringList order;
        order.reserve(size());
        for (const auto &entry : std::as_const(m_entries))
            order.append(entry.id);
        m_unshuffledOrder = std::move(order);
    }
    if (keepPlayed && m_current >= 0) {
        shuffleRange(m_current + 1);
        return;
    }
    shuffleRange(0);
    m_current = isEmpty() ? -1 : 0;
}

void PlaybackQueue::reshuffleForNextPass()
{
    const QString lastID = current() ? current()->id : QString();
    if (!m_unshuffledOrder) {
        shuffle(false);
        return;
    }
    shuffleRange(0);
    if (size() > 1 && m_entries.first().id == lastID)
        m_entries.swapItemsAt(0, 1 + int(m_random() % quint32(size() - 1)));
    m_current = isEmpty() ? -1 : 0;
}

void PlaybackQueue::unshuffle(bool firstBecomesCurrent)
{
    if (!m_unshuffledOrder)
        return;
    QHash<QString, int> rank;
    for (int i = 0; i < m_unshuffledOrder->size(); ++i)
        rank.insert(m_unshuffledOrder->at(i), i);
    // Every entry has a rank: replace() and append() keep the remembered order complete.
    const int from = firstBecomesCurrent || m_current < 0 ? 0 : m_current + 1;
    std::stable_sort(m_entries.begin() + from, m_entries.end(),
                     [&rank](const Entry &a, const Entry &b) { return rank.value(a.id) < rank.value(b.id); });
    m_unshuffledOrder.reset();
    if (firstBecomesCurrent)
        m_current = isEmpty() ? -1 : 0;
}

int PlaybackQueue::indexOf(const QString &entryID) const
{
    for (int i = 0; i < size(); ++i)
        if (m_entries[i].id == entryID)
            return i;
    return -1;
}

void PlaybackQueue::shuffleRange(int from)
{
    // Fisher–Yates over [from, size()), on the queue's own generator so that a seed replays it.
    for (int i = size() - 1; i > from; --i) {
        const int j = from + int(m_random() % quint32(i - from + 1));
        m_entries.swapItemsAt(i, j);
    }
}
