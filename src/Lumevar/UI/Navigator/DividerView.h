#pragma once
// The hair-line between two neighbouring panes, in the palette's separator colour.

#include <QWidget>

class DividerView : public QWidget {
public:
    explicit DividerView(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};
