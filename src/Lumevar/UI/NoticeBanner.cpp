#include "Lumevar/UI/NoticeBanner.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

NoticeBanner::NoticeBanner(QWidget *parent) : QWidget(parent), m_label(new QLabel(this)), m_close(new QToolButton(this))
{
    setObjectName(QStringLiteral("noticeBanner"));
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    setForegroundRole(QPalette::ToolTipText);
    m_label->setWordWrap(true);
    m_label->setForegroundRole(QPalette::ToolTipText);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_close->setText(QStringLiteral("✕"));
    m_close->setAutoRaise(true);
    m_close->setToolTip(QStringLiteral("Close"));
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 4, 4);
    layout->addWidget(m_label, 1);
    layout->addWidget(m_close, 0, Qt::AlignTop);
    connect(m_close, &QToolButton::clicked, this, &QWidget::hide);
    hide();
}

void NoticeBanner::setText(const QString &text)
{
    m_label->setText(text);
    setVisible(!text.isEmpty());
}

QString NoticeBanner::text() const { return m_label->text(); }
