#include "Lumevar/UI/Player/UpNextModel.h"

#include "Lumevar/Model/MainViewModel.h"
#include "LumevarCore/Records.h"

#include <QDataStream>
#include <QIODevice>
#include <QMimeData>
#include <QSet>

namespace {
const QString rowsMimeType = QStringLiteral("application/x-lumevar-up-next-rows");
}

UpNextModel::UpNextModel(MainViewModel &model, QObject *parent) : QAbstractListModel(parent), m_model(model)
{
    m_tokens.push_back(observeChanges(m_model._queue, [this] { reload(); }));
    m_entries = m_model._queue();
}

void UpNextModel::reload()
{
    const QList<MusicPlayerQueueEntry> &wanted = m_model._queue();
    if (wanted == m_entries)
        return; // the player's own report of an edit already shown
    if (m_entries.isEmpty() || wanted.isEmpty()) {
        beginResetModel();
        m_entries = wanted;
        endResetModel();
        Q_EMIT rowsFollowed();
        return;
    }
    // Rows are moved, removed and inserted one by one, so that the view keeps its selection and
    // current row across a track change or an edit.
    QSet<QString> wantedIDs;
    for (const MusicPlayerQueueEntry &entry : wanted)
        wantedIDs.insert(entry.id);
    for (int row = int(m_entries.size()) - 1; row >= 0; --row) {
        if (wantedIDs.contains(m_entries.at(row).id))
            continue;
        int first = row;
        while (first > 0 && !wantedIDs.contains(m_entries.at(first - 1).id))
            --first;
        beginRemoveRows({}, first, row);
        m_entries.remove(first, row - first + 1);
        endRemoveRows();
        row = first;
    }
    if (m_entries.isEmpty()) {
        beginInsertRows({}, 0, int(wanted.size()) - 1);
        m_entries = wanted;
        endInsertRows();
        Q_EMIT rowsFollowed();
        return;
    }
    for (int row = 0; row < wanted.size(); ++row) {
        const MusicPlayerQueueEntry &entry = wanted.at(row);
        if (row < m_entries.size() && m_entries.at(row).id == entry.id) {
            if (m_entries.at(row) != entry) {
                m_entries[row] = entry;
                Q_EMIT dataChanged(index(row), index(row));
            }
            continue;
        }
        int found = -1;
        for (int later = row + 1; later < m_entries.size(); ++later) {
            if (m_entries.at(later).id == entry.id) {
                found = later;
                break;
            }
        }
        if (found >= 0) {
            beginMoveRows({}, found, found, {}, row);
            m_entries.move(found, row);
            endMoveRows();
            if (m_entries.at(row) != entry) {
                m_entries[row] = entry;
                Q_EMIT dataChanged(index(row), index(row));
            }
        } else {
            beginInsertRows({}, row, row);
            m_entries.insert(row, entry);
            endInsertRows();
        }
    }
    Q_EMIT rowsFollowed();
}

int UpNextModel::rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(m_entries.size()); }

QVariant UpNextModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const MusicPlayerQueueEntry &entry = m_entries.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole:
        return entry.title;
    case EntryIDRole:
        return entry.id;
    case ArtworkIDRole:
        return songIDForArtwork(entry);
    case ArtworkURLRole:
        return entry.artwork ? QVariant(entry.artwork->url(artworkPixels, artworkPixels)) : QVariant();
    default:
        return {};
    }
}

Qt::ItemFlags UpNextModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags base = QAbstractListModel::flags(index);
    return index.isValid() ? base | Qt::ItemIsDragEnabled : base | Qt::ItemIsDropEnabled;
}

Qt::DropActions UpNextModel::supportedDropActions() const { return Qt::MoveAction; }

QStringList UpNextModel::mimeTypes() const { return {rowsMimeType}; }

QMimeData *UpNextModel::mimeData(const QModelIndexList &indexes) const
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    QList<int> rows;
    for (const QModelIndex &index : indexes)
        rows.append(index.row());
    stream << rows;
    auto *data = new QMimeData;
    data->setData(rowsMimeType, bytes);
    return data;
}

bool UpNextModel::canDropMimeData(const QMimeData *data, Qt::DropAction action, int, int, const QModelIndex &parent) const
{
    return action == Qt::MoveAction && data->hasFormat(rowsMimeType) && !parent.isValid();
}

bool UpNextModel::dropMimeData(const QMimeData *data, Qt::DropAction action, int row, int column, const QModelIndex &parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    QList<int> rows;
    QDataStream stream(data->data(rowsMimeType));
    stream >> rows;
    moveEntriesAt(rows, row < 0 ? rowCount() : row);
    // The move is done here; returning false keeps the view from removing the dragged rows itself.
    return false;
}

QStringList UpNextModel::entryIDs(const QList<int> &rows) const
{
    QStringList ids;
    for (const int row : rows) {
        if (row >= 0 && row < m_entries.size())
            ids.append(m_entries.at(row).id);
    }
    return ids;
}

void UpNextModel::removeEntriesAt(const QList<int> &rows) { m_model.removeQueueEntries(entryIDs(rows)); }

void UpNextModel::moveEntriesAt(const QList<int> &rows, int destination)
{
    // Before the entry shown at `destination`, or after the last shown entry (the queue's end).
    std::optional<QString> before;
    if (destination >= 0 && destination < m_entries.size())
        before = m_entries.at(destination).id;
    m_model.moveQueueEntries(entryIDs(rows), before);
}
