#pragma once
// One line of player: previous, play/pause and next, then the shown song and its position.

#include "Support/Observable.h"

#include <QWidget>
#include <vector>

class MainViewModel;
class QLabel;
class QToolButton;

class PlayerReadout : public QWidget {
    Q_OBJECT
public:
    explicit PlayerReadout(MainViewModel &model, QWidget *parent = nullptr);

    QString text() const;
    // "1:05", or "1:02:03" past an hour.
    static QString formatTime(double seconds);
    // What the line says for the model's state.
    static QString describe(const MainViewModel &model);

private:
    void refresh();

    MainViewModel &m_model;
    QToolButton *m_previous;
    QToolButton *m_playPause;
    QToolButton *m_next;
    QLabel *m_label;
    std::vector<ObservationTrackingToken> m_tokens;
};
