#pragma once
// The rows of one navigator list, as an item model that shares its list model's QList (copying a
// QList of records shares it; nothing is copied per row). Each row has an identifier, a title and
// a cell configuration. Replacing the items resets the model (views drop their per-row state and
// ask again); the list controller still decides when the table reloads its row heights.
//
// ItemListModel<Item> serves the collection lists (containers, playlists, albums, artists,
// recommendations); SongRowsModel the song lists, whose first rows are Play and Shuffle.

#include "Lumevar/Model/NavigationTypes.h"
#include "Lumevar/Navigator/TableCellContent.h"

#include <QAbstractListModel>
#include <QStringList>
#include <functional>

class CollectionListModel : public QAbstractListModel {
public:
    enum Role { idRole = Qt::UserRole + 1 };
    using QAbstractListModel::QAbstractListModel;

    virtual int count() const = 0;
    virtual QString itemID(int row) const = 0;
    virtual QString itemTitle(int row) const = 0;
    virtual void configure(TableCellContent &cell, int row, ConfigurationType type) const = 0;

    QStringList itemIDs() const;
    int rowOf(const QString &id) const; // -1 when absent

    int rowCount(const QModelIndex &parent = {}) const override { return parent.isValid() ? 0 : count(); }
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
};

inline QString itemID(ContainerKind kind) { return kind.id(); }
inline QString itemID(const LocalPlaylist &playlist) { return playlist.id; }
inline QString itemID(const LocalAlbum &album) { return album.id; }
inline QString itemID(const LocalArtist &artist) { return artist.id; }
inline QString itemID(const MusicPersonalRecommendation::Item &item) { return item.id().rawValue(); }

template <typename Item>
class ItemListModel final : public CollectionListModel {
public:
    using Configurator = std::function<void(TableCellContent &, const Item &, ConfigurationType)>;

    explicit ItemListModel(Configurator configurator, QObject *parent = nullptr)
        : CollectionListModel(parent), m_configure(std::move(configurator))
    {
    }

    const QList<Item> &items() const { return m_items; }
    void setItems(QList<Item> items)
    {
        beginResetModel();
        m_items = std::move(items);
        endResetModel();
    }
    const Item &item(int row) const { return m_items.at(row); }

    int count() const override { return int(m_items.size()); }
    QString itemID(int row) const override { return ::itemID(m_items.at(row)); }
    QString itemTitle(int row) const override { return title(m_items.at(row)); }
    void configure(TableCellContent &cell, int row, ConfigurationType type) const override
    {
        m_configure(cell, m_items.at(row), type);
    }

private:
    QList<Item> m_items;
    Configurator m_configure;
};

class SongRowsModel final : public CollectionListModel {
public:
    // Configures a song row; Play and Shuffle rows are filled in by the model itself.
    using SongConfigurator = std::function<void(TableCellContent &, const LocalSong &, ConfigurationType)>;

    explicit SongRowsModel(SongConfigurator configurator, QObject *parent = nullptr);

    const QList<LocalSong> &songs() const { return m_songs; }
    void setSongs(QList<LocalSong> songs);
    // Rows before the first song: none without songs, Play for one, Play and Shuffle for more.
    int syntheticRowCount() const;
    const LocalSong *song(int row) const;

    int count() const override;
    QString itemID(int row) const override;
    QString itemTitle(int row) const override;
    void configure(TableCellContent &cell, int row, ConfigurationType type) const override;

private:
    QList<LocalSong> m_songs;
    SongConfigurator m_configure;
};
