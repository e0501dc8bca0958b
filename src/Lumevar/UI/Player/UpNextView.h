#pragma once
// Up Next: a popup anchored to the player's Up Next button, 260 by 320, listing the queue from the
// current entry on (artwork and title per row), or saying that the queue is empty. Rows are
// reordered by dragging and removed with Delete or Backspace or the context menu; each edit goes to
// the real player queue (UpNextModel). It closes when the user clicks elsewhere.

#include <QWidget>

class MainViewModel;
class QListView;
class QStackedLayout;
class RowArtwork;
class UpNextModel;

class UpNextView : public QWidget {
    Q_OBJECT
public:
    static constexpr QSize contentSize{260, 320};
    static inline const QString emptyTitle = QStringLiteral("Up Next");
    static inline const QString emptyDescription = QStringLiteral("You don't have any songs in the queue.");

    explicit UpNextView(MainViewModel &model, QWidget *parent = nullptr);

    // Shows the popup above `anchor` (the player bar sits at the window's bottom), centred on it
    // and kept on the anchor's screen.
    void showAnchoredTo(QWidget *anchor);

    bool showsEmptyState() const;
    QListView *list() const { return m_list; }
    UpNextModel *model() const { return m_model; }
    // Removes the selected rows from the queue.
    void removeSelected();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void refreshState();

    UpNextModel *m_model;
    QStackedLayout *m_stack;
    QWidget *m_empty;
    QListView *m_list;
    RowArtwork *m_artwork;
    int m_rowAfterRemoval = -1;
};
