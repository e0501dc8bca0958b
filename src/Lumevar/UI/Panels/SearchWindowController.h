#pragma once
// Shows a content widget (the search surface) as the search panel over the main window: attached
// while the owner says it is visible, with the keyboard focus in the content; framed below the
// toolbar at the height the content last asked for (`onResize`), re-framed on every resize of the
// window; and dismissed through `onClose` by any click outside the panel (on a list, the toolbar's
// title, a blank area, the player bar, another window) or when the focus leaves it (another window
// taking the keyboard). The owner then makes it invisible again.
//
// The content takes the focus through setFocus(): a content whose field should hold the keys sets
// that field as its focus proxy.

#include <QObject>
#include <QPointer>
#include <functional>

class FloatingPanel;
class QWidget;

class SearchWindowController : public QObject {
    Q_OBJECT
public:
    SearchWindowController(QWidget *content, QWidget *window);
    ~SearchWindowController() override;

    // Called on a click outside the attached panel, or when the focus leaves it.
    std::function<void()> onClose;

    // Attaches the panel when true, detaches it when false.
    void setVisible(bool visible);
    void attach();
    void detach();
    bool isAttached() const { return m_attached; }

    // The content's wanted height: kept for later attaches, and applied now if attached.
    void onResize(qreal height);
    qreal lastHeight() const { return m_lastHeight; }

    FloatingPanel *panel() const { return m_panel; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void focusChanged(QWidget *old, QWidget *now);
    bool holds(const QWidget *widget) const;

    FloatingPanel *m_panel;
    qreal m_lastHeight;
    bool m_attached = false;
    QPointer<QWidget> m_focusBefore;
    QMetaObject::Connection m_focusConnection;
};
