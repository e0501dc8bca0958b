#include "DunmoorUIKit/UI/WhatsNewView.h"

#include "DunmoorUIKit/UI/FeatureView.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int insets = 18;
constexpr int rowSpacing = 16;
constexpr qreal largeTitleScale = 2.0;
} // namespace

WhatsNewView::WhatsNewView(const QString &applicationName, const QList<Feature> &features, std::function<void()> dismiss,
                           QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("whatsNewView"));
    auto *title = new QLabel(QStringLiteral("What's New in ") + applicationName);
    QFont titleFont = title->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * largeTitleScale);
    title->setFont(titleFont);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(insets, insets, insets, insets);
    layout->setSpacing(rowSpacing);
    layout->addWidget(title);
    for (const Feature &feature : features)
        layout->addWidget(new FeatureView(feature));
    layout->addStretch();
    auto *continueButton = new QPushButton(QStringLiteral("Continue"));
    continueButton->setDefault(true);
    connect(continueButton, &QPushButton::clicked, this, [dismiss = std::move(dismiss)] {
        if (dismiss)
            dismiss();
    });
    layout->addWidget(continueButton);
}

HostedWhatsNewView::HostedWhatsNewView(const QString &applicationName, const QList<Feature> &features, QWidget *parent)
    : WhatsNewView(applicationName, features, [this] { m_dismiss.dismiss(); }, parent)
{
    setWindowFlag(Qt::Window);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("What's New in ") + applicationName);
    m_dismiss.action = [this] { close(); };
}
