#pragma once
// The rows of Up Next: the model's mirror of the player's queue (from the current entry on), one
// row per entry with its title and artwork key. The rows follow the mirror by moves, removals and
// insertions (a reset only from or to an empty queue), so the view keeps its selection across a
// track change or an edit. Removing and moving rows (Delete, the context menu, drag and drop)
// edits the real player queue by the entries' stable ids (through the main model), then refreshes the mirror at once so
// the rows follow.

#include "Platform/Music/MusicTypes.h"
#include "Support/Observable.h"

#include <QAbstractListModel>
#include <vector>

class MainViewModel;

class UpNextModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { EntryIDRole = Qt::UserRole + 1, ArtworkIDRole, ArtworkURLRole };
    static constexpr int artworkPixels = 48; // the 24-point row artwork at scale 2

    explicit UpNextModel(MainViewModel &model, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData *mimeData(const QModelIndexList &indexes) const override;
    bool canDropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) const override;
    bool dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent) override;

    // Removes the rows at `rows` from the player's queue.
    void removeEntriesAt(const QList<int> &rows);
    // Moves the rows at `rows` before the row `destination` (rowCount() for the end), as list
    // views report a move: offsets of the list before the move.
    void moveEntriesAt(const QList<int> &rows, int destination);

Q_SIGNALS:
    // The rows have followed a change of the queue (after all their moves, removals, insertions).
    void rowsFollowed();

private:
    void reload();
    // The stable ids of the entries shown in these rows.
    QStringList entryIDs(const QList<int> &rows) const;

    MainViewModel &m_model;
    QList<MusicPlayerQueueEntry> m_entries;
    std::vector<ObservationTrackingToken> m_tokens;
};
