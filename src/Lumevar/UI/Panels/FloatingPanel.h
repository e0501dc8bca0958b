#pragma once
// A panel floating over the main window's panes: a frameless child widget of the window holding one
// content widget on a rounded translucent backdrop with a soft shadow. Its rectangle comes from a
// frame function of the window's size and is applied again on every resize of the window; it stays
// raised above the window's other children. Wayland lets no application place or attach a window
// of its own, so the player bar and the search panel live inside the main window this way.

#include <QWidget>
#include <functional>

class FloatingPanel : public QWidget {
    Q_OBJECT
public:
    // The backdrop's tone: the player bar's, or the search panel's lighter popover tone.
    enum class Material { bar, popover };
    static constexpr qreal cornerRadius = 22;
    static constexpr qreal shadowOpacity = 0.16;
    static constexpr qreal shadowRadius = 4;
    static constexpr qreal shadowOffset = 1; // downward

    using Framer = std::function<QRectF(QSizeF windowSize)>;

    // Takes `content` as its child, filling the backdrop. `window` is the main window it floats in.
    FloatingPanel(QWidget *content, Material material, Framer framer, QWidget *window);

    QWidget *content() const { return m_content; }
    void setFramer(Framer framer);
    // Applies the frame function to the window's current size and raises the panel.
    void reframe();
    // The rounded backdrop in the panel's own coordinates.
    QRectF backdropRect() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QWidget *m_content;
    Material m_material;
    Framer m_framer;
};
