#include "Lumevar/UI/Navigator/PaneStripView.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Navigator/PaneStripGeometry.h"
#include "Lumevar/Navigator/WheelSwipeInput.h"
#include "Lumevar/UI/Navigator/DividerView.h"
#include "Support/Animation.h"
#include "Support/Clock.h"

#include <QKeyEvent>
#include <QPointer>
#include <QWheelEvent>
#include <cmath>

namespace {

WheelSwipeInput::PlatformPhase platformPhase(Qt::ScrollPhase phase)
{
    switch (phase) {
    case Qt::ScrollBegin: return WheelSwipeInput::PlatformPhase::began;
    case Qt::ScrollUpdate:
    case Qt::ScrollMomentum: return WheelSwipeInput::PlatformPhase::changed;
    case Qt::ScrollEnd: return WheelSwipeInput::PlatformPhase::ended;
    case Qt::NoScrollPhase: break;
    }
    return WheelSwipeInput::PlatformPhase::unknown;
}

// A notch of a tilting mouse wheel (120 units) counts as 48 pixels of touchpad movement.
constexpr double pixelsPerWheelUnit = 0.4;

} // namespace

PaneStripView::PaneStripView(MainViewModel &model, QWidget *parent) : QWidget(parent), m_model(model)
{
    setObjectName(QStringLiteral("paneStrip"));
    setFocusPolicy(Qt::NoFocus);
    for (auto &divider : m_dividers)
        divider = new DividerView(this);
    m_glide.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_glide, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_offset = value.toDouble();
        placePanes();
    });
    m_swipe = std::make_unique<WheelSwipeInput>(Clock::shared(), [this](SwipeTracker::Navigation navigation) {
        if (navigation == SwipeTracker::Navigation::left && navigateLeft)
            navigateLeft();
        else if (navigation == SwipeTracker::Navigation::right && navigateRight)
            navigateRight();
    });
    m_token = observeChanges(m_model._activePane, [self = QPointer(this)](int old, int now) {
        if (self && old != now)
            self->layoutPanes();
    });
}

PaneStripView::~PaneStripView() = default;

void PaneStripView::insertPane(int index, QWidget *pane)
{
    Q_ASSERT(index >= 0 && index <= m_panes.size());
    if (m_panes.size() >= PaneStripGeometry::maximumPaneCount)
        qFatal("A pane strip holds at most three panes");
    pane->setParent(this);
    m_panes.insert(index, pane);
    pane->show();
    for (DividerView *divider : m_dividers)
        divider->raise();
    layoutPanes();
}

QWidget *PaneStripView::takePane(int index)
{
    QWidget *pane = m_panes.takeAt(index);
    pane->hide();
    pane->setParent(nullptr);
    layoutPanes();
    return pane;
}

double PaneStripView::targetOffset() const
{
    return PaneStripGeometry::stripOffset(width(), m_model._activePane(),
                                          PaneStripGeometry::isDeepContainer(m_model._selectedContainerKindID()));
}

void PaneStripView::layoutPanes()
{
    const double target = targetOffset();
    const AnimationContext context = AnimationContext::current();
    if (context.animates() && isVisible() && target != m_offset) {
        m_glide.stop();
        m_glide.setDuration(int(std::lround(context.duration * 1000)));
        m_glide.setStartValue(m_offset);
        m_glide.setEndValue(target);
        m_glide.start();
    } else if (!isGliding() || m_glide.endValue().toDouble() != target) {
        m_glide.stop();
        m_offset = target;
    }
    placePanes();
}

void PaneStripView::placePanes()
{
    const QList<QRectF> frames = PaneStripGeometry::paneFrames(width(), height(), int(m_panes.size()));
    for (qsizetype i = 0; i < m_panes.size(); ++i) {
        const QRectF frame = frames[i].translated(-m_offset, 0);
        // Whole pixels: a pane of 333.5 points starts on the pixel its left edge falls in.
        m_panes[i]->setGeometry(QRect(QPoint(int(std::floor(frame.left())), 0),
                                      QPoint(int(std::floor(frame.right())) - 1, height() - 1)));
    }
    const QList<QRectF> dividers = PaneStripGeometry::dividerFrames(frames, height());
    for (int i = 0; i < 2; ++i) {
        if (i < dividers.size()) {
            const QRectF frame = dividers[i].translated(-m_offset, 0);
            const int x = int(std::floor(frame.left()));
            m_dividers[i]->setGeometry(x, int(frame.top()), 1, int(frame.height()));
            // A divider on the strip's very edge separates a pane that is out of view.
            m_dividers[i]->setVisible(x > 0 && x < width() - 1);
        } else {
            m_dividers[i]->hide();
        }
    }
}

void PaneStripView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_glide.stop();
    m_offset = targetOffset();
    placePanes();
}

void PaneStripView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Left && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
        if (navigateLeft)
            navigateLeft();
        return;
    }
    if (event->key() == Qt::Key_Right && !(event->modifiers() & (Qt::ControlModifier | Qt::AltModifier))) {
        if (navigateRight)
            navigateRight();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PaneStripView::wheelEvent(QWheelEvent *event)
{
    const QPoint pixels = event->pixelDelta();
    const QPointF delta = pixels.isNull() ? QPointF(event->angleDelta()) * pixelsPerWheelUnit : QPointF(pixels);
    if (m_swipe->feed(delta.x(), delta.y(), platformPhase(event->phase()), width()))
        event->accept();
    else
        event->ignore();
}
