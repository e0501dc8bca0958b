#pragma once
// The horizontal strip on which the panes of the navigator stand side by side: every pane gets
// the same width (one, two or three panes by the strip's width, PaneStripGeometry), the strip
// scrolls so that the active pane is in view, and a hair-line divider stands between neighbours.
// It follows MainViewModel::_activePane: a change made inside an animation group glides over the
// group's duration, any other jumps. Left and right arrows, and a two-finger horizontal swipe
// (WheelSwipeInput), become navigateLeft / navigateRight requests; the strip itself moves only
// when the model's active pane changes.

#include "Support/Observable.h"

#include <QList>
#include <QVariantAnimation>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>

class DividerView;
class MainViewModel;
class WheelSwipeInput;

class PaneStripView : public QWidget {
    Q_OBJECT
public:
    explicit PaneStripView(MainViewModel &model, QWidget *parent = nullptr);
    ~PaneStripView() override;

    // The requests of the arrows and the swipe; unset, the keys are swallowed.
    std::function<void()> navigateLeft;
    std::function<void()> navigateRight;

    // Only the pane controller changes the panes. More than three panes is a programmer error.
    void insertPane(int index, QWidget *pane);
    QWidget *takePane(int index);
    const QList<QWidget *> &arrangedPanes() const { return m_panes; }

    // Frames every pane and divider for the current width and active pane, gliding when the
    // current animation context animates.
    void layoutPanes();
    // The strip's scroll offset as shown now (between the two ends while gliding).
    double offset() const { return m_offset; }
    double targetOffset() const;
    bool isGliding() const { return m_glide.state() == QAbstractAnimation::Running; }
    const std::array<DividerView *, 2> &dividers() const { return m_dividers; }

protected:
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void placePanes();

    MainViewModel &m_model;
    QList<QWidget *> m_panes;
    std::array<DividerView *, 2> m_dividers{};
    double m_offset = 0;
    QVariantAnimation m_glide;
    std::unique_ptr<WheelSwipeInput> m_swipe;
    ObservationTrackingToken m_token;
};
