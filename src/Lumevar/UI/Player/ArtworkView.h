#pragma once
// A song's artwork at a fixed size, with rounded corners: the picture once loaded, a plain
// background while it is unknown, and a music note on that background when it failed. It starts
// from the picture the artwork cache already holds for the id, and otherwise loads it through the
// cache; a change of id or URL restarts the load.

#include "Lumevar/Artwork/ArtworkLoad.h"

#include <QImage>
#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <optional>

class ArtworkView : public QWidget {
    Q_OBJECT
public:
    using State = ArtworkState;

    ArtworkView(QSize size, qreal cornerRadius, bool showBorder, QWidget *parent = nullptr);
    ~ArtworkView() override;

    // The picture for `uniqueID`, loaded from `url` when the cache has none yet. Without a URL the
    // view stays as the cache left it.
    void setArtwork(const std::optional<QUrl> &url, const QString &uniqueID);
    void clear();

    State state() const { return m_state; }
    QString identity() const { return m_identity; }
    // The "ArtworkBackground" colour behind a missing picture.
    static QColor backgroundColor(bool dark);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void load(std::optional<QUrl> url, QString uniqueID, quint64 generation);

    qreal m_cornerRadius;
    bool m_showBorder;
    State m_state = State::unknown;
    QImage m_image;
    QString m_identity;
    // Counts the loads, so that a load that finishes after a newer one began is ignored.
    quint64 m_generation = 0;
};
