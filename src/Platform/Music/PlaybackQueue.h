#pragma once
// The bookkeeping of the player's queue, free of playback: the entries, which one is current, the
// shuffled order and where the next and previous entries are. ApplicationMusicPlayer drives it.
//
// Shuffling reorders the entries themselves, so that the entries after the current one are always
// what plays next (an "up next" list shows the truth). The order before shuffling is remembered
// and restored, with the current entry kept, when shuffling is switched off.

#include "Platform/Music/MusicTypes.h"

#include <optional>
#include <random>

class PlaybackQueue {
public:
    using Entry = MusicPlayerQueueEntry;

    // An entry for a song, with an id never handed out before in this process.
    static Entry makeEntry(const Song &song);
    static QList<Entry> makeEntries(const QList<Song> &songs);

    const QList<Entry> &entries() const { return m_entries; }
    bool isEmpty() const { return m_entries.isEmpty(); }
    int size() const { return int(m_entries.size()); }
    // -1 when there is no current entry.
    int currentIndex() const { return m_current; }
    const Entry *current() const { return m_current >= 0 ? &m_entries[m_current] : nullptr; }

    // A new queue: the first entry becomes current (none when empty), shuffling is forgotten.
    void reset(QList<Entry> entries);
    // Replaces the entries, keeping the current entry when its id is still there; otherwise the
    // entry that now sits at its offset becomes current (none past the end). Returns whether the
    // current entry changed.
    bool replace(QList<Entry> entries);
    // Adds entries at the end (a station growing).
    void append(QList<Entry> entries);
    // Removes the entries at the given offsets (out-of-range offsets are ignored). Returns whether
    // the current entry was among them; then the entry that followed it becomes current.
    bool remove(const QList<int> &offsets);
    // Moves the entries at the given offsets (of the list before the move) so that they sit, in
    // their order, before the entry that was at destination (size() means the end).
    void move(const QList<int> &offsets, int destination);
    void setCurrentIndex(int index);

    // The entry after the current one; with wrap, the first after the last.
    std::optional<int> nextIndex(bool wrap) const;
    // The entry before the current one; none at the first.
    std::optional<int> previousIndex() const;

    bool isShuffled() const { return m_unshuffledOrder.has_value(); }
    // Shuffles the entries. With keepPlayed (a queue under way), the current entry and those
    // before it stay where they are and only the ones after it are shuffled, so that what already
    // played does not come again before the end; otherwise all are shuffled and the first becomes
    // current.
    void shuffle(bool keepPlayed);
    // Draws a new order for another pass through a shuffled queue (repeat all): all entries
    // shuffled, the one that just played not first when there is a choice; the first is current.
    void reshuffleForNextPass();
    // Restores the order from before shuffling. With firstBecomesCurrent (a queue not begun) all
    // entries take it and the first is current; otherwise the current entry and those before it
    // stay and the ones after it take their order from before.
    void unshuffle(bool firstBecomesCurrent);
    void seed(quint32 seed) { m_random.seed(seed); }

private:
    int indexOf(const QString &entryID) const;
    void shuffleRange(int from);

    QList<Entry> m_entries;
    int m_current = -1;
    // Entry ids in the order before shuffling; absent while not shuffled.
    std::optional<QStringList> m_unshuffledOrder;
    std::mt19937 m_random{std::random_device{}()};
};
