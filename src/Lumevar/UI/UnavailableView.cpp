#include "Lumevar/UI/UnavailableView.h"

#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/ServiceTexts.h"
#include "Platform/Music/MusicService.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

QString UnavailableView::titleText() { return QStringLiteral("Welcome to Lumevar"); }

QString UnavailableView::descriptionText() { return ServiceTexts::unavailableDescription(MusicService::shared()); }

UnavailableView::UnavailableView(QWidget *parent) : QWidget(parent), m_tryAgain(new QPushButton(QStringLiteral("Try Again"), this))
{
    setAutoFillBackground(true);
    auto *layout = new QVBoxLayout(this);
    layout->addStretch();
    auto *symbol = new QLabel(this);
    symbol->setPixmap(Icons::symbol(QStringLiteral("music.note")).pixmap(40, 40));
    symbol->setAlignment(Qt::AlignCenter);
    auto *title = new QLabel(titleText(), this);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    font.setBold(true);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    m_description = new QLabel(descriptionText(), this);
    m_description->setWordWrap(true);
    m_description->setAlignment(Qt::AlignCenter);
    layout->addWidget(symbol);
    layout->addWidget(title);
    layout->addWidget(m_description);
    layout->addWidget(m_tryAgain, 0, Qt::AlignHCenter);
    layout->addStretch();
    connect(m_tryAgain, &QPushButton::clicked, this, &UnavailableView::tryAgainRequested);
}

void UnavailableView::setReason(const QString &reason) { m_description->setText(reason.isEmpty() ? descriptionText() : reason); }

QString UnavailableView::shownDescription() const { return m_description->text(); }
