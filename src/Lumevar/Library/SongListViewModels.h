#pragma once
// The two song lists of the library. Neither owns its songs: the arrays and the selections live in
// MainViewModel, where the panes and the player see them; these models are the operations over
// that state. Main thread only.
//
// - TopLevelSongsViewModel: every library song in the user's sort order (the Songs container),
//   kept fresh by a sync at most once a day.
// - DetailSongsViewModel: the songs of the selected playlist, album or artist, handed in finished
//   by the collection models; publishing them moves the navigation path.

#include "Lumevar/Library/SortSetting.h"
#include "Lumevar/Model/MainViewModel.h"

#include <QObject>

class DetailSongsViewModel : public QObject {
public:
    explicit DetailSongsViewModel(MainViewModel &mainViewModel, QObject *parent = nullptr);

    MainViewModel &mainViewModel() const { return m_main; }

    // Shows songs as the collection (id, title) in the third pane: replaces the path's third item
    // or appends one, then selects the Play row, or the song kept in detailSongIDToRestore.
    void showDetailSongs(QList<LocalSong> songs, QString id, std::optional<QString> title);
    // Selects the first shown song that is the one in detailSongIDToRestore (no row when none
    // is), and clears that field.
    void restoreDetailSongSelection();

    // Plays a row of the detail list. A failure of the player is reported ("play_song"), logged
    // and raises the play-error alert; it never reaches the caller.
    QCoro::Task<void> playSelection(QString id);
    // Plays songs handed in by a collection model. Errors reach the caller.
    QCoro::Task<void> playSongs(QList<LocalSong> songs, bool shuffle);

private:
    MainViewModel &m_main;
};

class TopLevelSongsViewModel : public QObject {
public:
    static inline const QString songSyncKey = QStringLiteral("lastSongSync");

    explicit TopLevelSongsViewModel(MainViewModel &mainViewModel, QObject *parent = nullptr);

    MainViewModel &mainViewModel() const { return m_main; }

    SongSortOrder sortOrder() const { return m_sort.sortOrder(); }
    void setSortOrder(SongSortOrder order) { m_sort.setSortOrder(order); }
    MusicSortDirection sortDirection() const { return m_sort.sortDirection(); }
    void setSortDirection(MusicSortDirection direction) { m_sort.setSortDirection(direction); }
    SortDescriptor<LocalSong> sortDescriptor() const { return m_sort.sortDescriptor(); }
    const Observable<int> &sortChanges() const { return m_sort._changes; }

    // Reads every library song into _topLevelSongs, selects the Play row when nothing is selected,
    // and with sync runs the throttled song sync. Never throws; failures are reported
    // ("load_songs") and logged.
    QCoro::Task<void> loadSongs(bool sync);
    // Plays a row of the Songs container, loading the songs first (without a sync) when none are
    // loaded. Errors of the player reach the caller.
    QCoro::Task<void> playSelection(QString id);
    QCoro::Task<void> playSongs(QList<LocalSong> songs, bool shuffle);

private:
    MainViewModel &m_main;
    SortSetting<SongSortOrder> m_sort;
};
