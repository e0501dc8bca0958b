#include "Lumevar/UI/Panels/SearchWindowController.h"

#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Support/Log.h"

#include <QApplication>
#include <QMouseEvent>

SearchWindowController::SearchWindowController(QWidget *content, QWidget *window)
    : QObject(window), m_lastHeight(PanelFrames::searchInitialHeight)
{
    m_panel = new FloatingPanel(content, FloatingPanel::Material::popover,
                                [this](QSizeF size) { return PanelFrames::searchFrame(size, m_lastHeight); }, window);
    m_panel->setObjectName(QStringLiteral("searchPanel"));
    m_panel->hide();
}

SearchWindowController::~SearchWindowController()
{
    disconnect(m_focusConnection);
    qApp->removeEventFilter(this);
}

void SearchWindowController::setVisible(bool visible)
{
    if (visible)
        attach();
    else if (m_attached)
        detach();
}

void SearchWindowController::attach()
{
    if (m_attached) {
        qCInfo(Log::app()) << "Search child window already has a parent, not adding again";
        return;
    }
    m_attached = true;
    m_focusBefore = QApplication::focusWidget();
    m_panel->reframe();
    m_panel->show();
    m_panel->raise();
    m_panel->content()->setFocus(Qt::PopupFocusReason);
    m_focusConnection = connect(qApp, &QApplication::focusChanged, this, &SearchWindowController::focusChanged);
    // Most of what a click can land on takes no focus (labels, the player's buttons, blank
    // space), so focus alone would leave the panel open.
    qApp->installEventFilter(this);
}

void SearchWindowController::detach()
{
    if (!m_attached)
        return;
    m_attached = false;
    disconnect(m_focusConnection);
    qApp->removeEventFilter(this);
    const bool hadFocus = holds(QApplication::focusWidget());
    m_panel->hide();
    // Dismissed from inside (Escape, a chosen result): the keys go back to where they were.
    if (hadFocus && m_focusBefore)
        m_focusBefore->setFocus(Qt::PopupFocusReason);
}

void SearchWindowController::onResize(qreal height)
{
    m_lastHeight = height;
    if (m_attached)
        m_panel->reframe();
}

bool SearchWindowController::holds(const QWidget *widget) const
{
    for (; widget; widget = widget->parentWidget()) {
        if (widget == m_panel)
            return true;
        // A popup opened from the panel (a completion list, a context menu) keeps the panel open.
        if (widget->isWindow() && !(widget->windowType() == Qt::Popup || widget->windowType() == Qt::ToolTip))
            return false;
    }
    return false;
}

bool SearchWindowController::eventFilter(QObject *watched, QEvent *event)
{
    // A press the panel leaves alone travels on to its parents, the main window among them: where
    // it happened decides, not who hears it.
    if (m_attached && event->type() == QEvent::MouseButtonPress && watched->isWidgetType()
        && !holds(static_cast<QWidget *>(watched)) && onClose) {
        const QPoint at = static_cast<QMouseEvent *>(event)->globalPosition().toPoint();
        if (!m_panel->rect().contains(m_panel->mapFromGlobal(at)))
            onClose();
    }
    return QObject::eventFilter(watched, event);
}

void SearchWindowController::focusChanged(QWidget *old, QWidget *now)
{
    if (!m_attached || holds(now) || !holds(old))
        return;
    if (onClose)
        onClose();
}
