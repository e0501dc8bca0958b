#pragma once
// Shows a content widget (the search surface) as the search panel over the main window: attached
// while the owner says it is visible, with the keyboard focus in the content; framed below the
// toolbar at the height the content last asked for (`onResize`), re-framed on every resize of the
// window; and dismissed through `onClose` when the focus leaves the panel (a click elsewhere, or
// another window taking the keyboard). The owner then makes it invisible again.
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

    // Called when the focus leaves the attached panel.
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

private:
    void focusChanged(QWidget *old, QWidget *now);
    bool holds(const QWidget *widget) const;

    FloatingPanel *m_panel;
    qreal m_lastHeight;
    bool m_attached = false;
    QPointer<QWidget> m_focusBefore;
    QMetaObject::Connection m_focusConnection;
};
