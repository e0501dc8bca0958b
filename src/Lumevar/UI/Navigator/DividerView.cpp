#include "Lumevar/UI/Navigator/DividerView.h"

#include "Lumevar/UI/Navigator/ListColors.h"

#include <QPainter>

DividerView::DividerView(QWidget *parent) : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    hide();
}

void DividerView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), ListColors::from(palette()).separator);
}
