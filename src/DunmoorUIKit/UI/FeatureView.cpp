#include "DunmoorUIKit/UI/FeatureView.h"

#include "DunmoorUIKit/UI/HoverUnderlineButton.h"
#include "DunmoorUIKit/UI/KitSymbols.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QUrl>
#include <QVBoxLayout>

namespace {
constexpr int symbolPointSize = 24;
constexpr int symbolColumnWidth = 36;
constexpr int subtitleSpacing = 2;
} // namespace

FeatureView::FeatureView(const Feature &feature, QWidget *parent) : QWidget(parent)
{
    auto *symbol = new QLabel;
    const int side = QFontMetrics([] {
                         QFont f;
                         f.setPointSize(symbolPointSize);
                         return f;
                     }())
                         .height();
    symbol->setPixmap(KitSymbols::icon(feature.imageName).pixmap(side, side));
    symbol->setFixedWidth(std::max(symbolColumnWidth, side));
    symbol->setAlignment(Qt::AlignHCenter | Qt::AlignTop);

    auto *title = new QLabel(feature.title);
    QFont titleFont = title->font();
    titleFont.setBold(true);
    title->setFont(titleFont);
    auto *subtitle = new QLabel(feature.subtitle);
    subtitle->setWordWrap(true);
    subtitle->setForegroundRole(QPalette::PlaceholderText);

    auto *column = new QVBoxLayout;
    column->setSpacing(subtitleSpacing);
    column->addWidget(title);
    column->addWidget(subtitle);
    if (feature.link) {
        const QUrl url(*feature.link);
        auto *link = new HoverUnderlineButton(QStringLiteral("Learn More"), [url] { QDesktopServices::openUrl(url); });
        link->setTrailingSymbol(QStringLiteral("arrow.right.circle"));
        column->addWidget(link, 0, Qt::AlignLeft);
    }

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(symbol, 0, Qt::AlignTop);
    row->addLayout(column, 1);
}
