#pragma once
// The middle of the player bar: a rounded box with the artwork, the title and subtitle, and the
// time bar along its bottom edge. Under the pointer it offers two shortcuts: over the artwork,
// when a place was saved, the Library SnapBack mark; beside the title, when the song is not in the
// library yet, the add button.

#include "Support/Observable.h"

#include <QWidget>
#include <vector>

class ArtworkView;
class MainViewModel;
class PlaybackTimeView;
class QLabel;
class QToolButton;

class PlayerCentreBlock : public QWidget {
    Q_OBJECT
public:
    static constexpr int blockHeight = 36;
    static constexpr int artworkEdge = 36;
    static constexpr int addButtonWidth = 14;
    static constexpr int titleSpacing = 4;

    explicit PlayerCentreBlock(MainViewModel &model, QWidget *parent = nullptr);
    ~PlayerCentreBlock() override;

    // The box's fill: black at 0.24 in the dark scheme, 0.08 in the light one.
    static QColor backgroundColor(bool dark);

    bool isInsideHoodie() const { return m_insideHoodie; }
    bool isInsideArtwork() const { return m_insideArtwork; }
    ArtworkView *artworkView() const { return m_artwork; }
    QWidget *snapBackMark() const { return m_snapBack; }
    QToolButton *addButton() const { return m_add; }
    QLabel *titleLabel() const { return m_title; }
    QLabel *subtitleLabel() const { return m_subtitle; }
    PlaybackTimeView *timeView() const { return m_time; }
    // Whether the title row keeps the title centred with an empty slot before it.
    bool titleRowIsBalanced() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void refresh();
    void refreshHover();
    void refreshTime();
    void layOutOverlays();

    MainViewModel &m_model;
    QWidget *m_artworkSlot;
    ArtworkView *m_artwork;
    QWidget *m_snapBack;
    QWidget *m_texts;
    QWidget *m_balance;
    QLabel *m_title;
    QString m_fullTitle;
    QString m_fullSubtitle;
    QToolButton *m_add;
    QLabel *m_subtitle;
    PlaybackTimeView *m_time;
    bool m_insideHoodie = false;
    bool m_insideArtwork = false;
    std::vector<ObservationTrackingToken> m_tokens;
};
