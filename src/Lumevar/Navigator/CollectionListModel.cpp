#include "Lumevar/Navigator/CollectionListModel.h"

QStringList CollectionListModel::itemIDs() const
{
    QStringList ids;
    const int n = count();
    ids.reserve(n);
    for (int row = 0; row < n; ++row)
        ids.append(itemID(row));
    return ids;
}

int CollectionListModel::rowOf(const QString &id) const
{
    const int n = count();
    for (int row = 0; row < n; ++row)
        if (itemID(row) == id)
            return row;
    return -1;
}

QVariant CollectionListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= count())
        return {};
    if (role == Qt::DisplayRole)
        return itemTitle(index.row());
    if (role == idRole)
        return itemID(index.row());
    return {};
}

QHash<int, QByteArray> CollectionListModel::roleNames() const
{
    return {{Qt::DisplayRole, "title"}, {idRole, "id"}};
}

SongRowsModel::SongRowsModel(SongConfigurator configurator, QObject *parent)
    : CollectionListModel(parent), m_configure(std::move(configurator))
{
}

void SongRowsModel::setSongs(QList<LocalSong> songs)
{
    beginResetModel();
    m_songs = std::move(songs);
    endResetModel();
}

int SongRowsModel::syntheticRowCount() const
{
    if (m_songs.isEmpty())
        return 0;
    return m_songs.size() >= 2 ? 2 : 1;
}

int SongRowsModel::count() const { return int(m_songs.size()) + syntheticRowCount(); }

const LocalSong *SongRowsModel::song(int row) const
{
    const int index = row - syntheticRowCount();
    return index >= 0 && index < m_songs.size() ? &m_songs.at(index) : nullptr;
}

QString SongRowsModel::itemID(int row) const
{
    if (const LocalSong *s = song(row))
        return s->id.rawValue();
    return row == 0 ? SongSelection::playID : SongSelection::shuffleID;
}

QString SongRowsModel::itemTitle(int row) const
{
    if (const LocalSong *s = song(row))
        return s->title;
    return row == 0 ? QStringLiteral("Play") : QStringLiteral("Shuffle");
}

void SongRowsModel::configure(TableCellContent &cell, int row, ConfigurationType type) const
{
    if (const LocalSong *s = song(row)) {
        m_configure(cell, *s, type);
        return;
    }
    cell = TableCellContent{};
    cell.title = itemTitle(row);
    cell.glyph = row == 0 ? QStringLiteral("play.fill") : QStringLiteral("shuffle");
    cell.canShowChevron = false;
}
