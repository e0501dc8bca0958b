#include "Lumevar/UI/UnavailableView.h"

#include "Lumevar/UI/Icons.h"
#include "Lumevar/UI/ServiceTexts.h"
#include "Platform/Music/MusicService.h"

#include <QLabel>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

QString UnavailableView::titleText() { return QStringLiteral("Welcome to Lumevar"); }

QString UnavailableView::descriptionText() { return ServiceTexts::unavailableDescription(MusicService::shared()); }

UnavailableView::UnavailableView(QWidget *parent) : QWidget(parent), m_tryAgain(new QPushButton(QStringLiteral("Try Again"), this)),
      m_signIn(new QPushButton(QStringLiteral("Sign In…"), this))
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
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_tryAgain);
    buttons->addWidget(m_signIn);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    layout->addStretch();
    connect(m_tryAgain, &QPushButton::clicked, this, &UnavailableView::tryAgainRequested);
    connect(m_signIn, &QPushButton::clicked, this, &UnavailableView::signInRequested);
}

void UnavailableView::setReason(const QString &reason) { m_description->setText(reason.isEmpty() ? descriptionText() : reason); }

QString UnavailableView::shownDescription() const { return m_description->text(); }
