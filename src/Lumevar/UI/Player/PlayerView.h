#pragma once
// The player bar's content: previous, play/pause and next; the centre block (artwork, title,
// subtitle, time); then repeat, shuffle and Up Next. It reads MainViewModel and calls its
// commands; repeat and shuffle are tinted while their mode is on. Up Next opens as a popup
// anchored to its button.

#include "Support/Observable.h"

#include <QPointer>
#include <QWidget>
#include <vector>

class MainViewModel;
class PlayerButton;
class PlayerCentreBlock;
class UpNextView;

class PlayerView : public QWidget {
    Q_OBJECT
public:
    static constexpr int spacing = 4;
    static constexpr int sidePadding = 14;

    explicit PlayerView(MainViewModel &model, QWidget *parent = nullptr);
    ~PlayerView() override;

    PlayerButton *button(const QString &symbolOrRole) const;
    PlayerButton *playPauseButton() const { return m_playPause; }
    PlayerButton *repeatButton() const { return m_repeat; }
    PlayerButton *shuffleButton() const { return m_shuffle; }
    PlayerButton *upNextButton() const { return m_upNext; }
    PlayerCentreBlock *centreBlock() const { return m_centre; }
    // The open Up Next popup, if any.
    UpNextView *upNext() const;
    void showUpNext();

private:
    void refreshModes();

    MainViewModel &m_model;
    PlayerButton *m_previous;
    PlayerButton *m_playPause;
    PlayerButton *m_next;
    PlayerCentreBlock *m_centre;
    PlayerButton *m_repeat;
    PlayerButton *m_shuffle;
    PlayerButton *m_upNext;
    QPointer<UpNextView> m_upNextView;
    std::vector<ObservationTrackingToken> m_tokens;
};
