#include "Lumevar/UI/Search/SearchPicker.h"

#include "Lumevar/UI/Search/SearchResultDelegate.h"
#include "Platform/Music/MusicService.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QShortcut>
#include <QVariantAnimation>

namespace {
constexpr int verticalPadding = 3;
constexpr int horizontalPadding = 8;
constexpr int slideMilliseconds = 250;
constexpr double capsuleOpacity = 0.35;
} // namespace

QString SearchPicker::libraryLabel() { return QStringLiteral("Library"); }
QString SearchPicker::catalogLabel() { return MusicService::shared().catalogLabel(); }

SearchPicker::SearchPicker(SearchViewModel &viewModel, QWidget *parent)
    : QWidget(parent), m_viewModel(viewModel), m_shown(viewModel.selection()), m_slide(new QVariantAnimation(this))
{
    setObjectName(QStringLiteral("searchPicker"));
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // A spring that overshoots a little and settles, as the capsule slides between the buttons.
    m_slide->setDuration(slideMilliseconds);
    m_slide->setEasingCurve(QEasingCurve(QEasingCurve::OutBack));
    connect(m_slide, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_capsule = value.toRectF();
        update();
    });
    const std::pair<Qt::Key, SearchPickerSelection> keys[] = {{Qt::Key_1, SearchPickerSelection::library},
                                                              {Qt::Key_2, SearchPickerSelection::catalog}};
    for (const auto &[key, choice] : keys) {
        auto *shortcut = new QShortcut(QKeySequence(Qt::CTRL | key), parent ? parent : this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, [this, choice = choice] { choose(choice); });
    }
    m_token = observeChanges(m_viewModel.selection, [this](SearchPickerSelection, SearchPickerSelection now) { follow(now); });
}

QFont SearchPicker::labelFont() const
{
    QFont font = this->font();
    font.setPixelSize(13);
    return font;
}

QString SearchPicker::shownText(SearchPickerSelection selection) const
{
    if (selection == SearchPickerSelection::library)
        return libraryLabel();
    return catalogLabel();
}

QRect SearchPicker::buttonRect(SearchPickerSelection selection) const
{
    const QFontMetrics metrics(labelFont());
    const int height = metrics.height() + 2 * verticalPadding;
    const int top = (this->height() - height) / 2;
    const int libraryWidth = metrics.horizontalAdvance(shownText(SearchPickerSelection::library)) + 2 * horizontalPadding;
    if (selection == SearchPickerSelection::library)
        return QRect(0, top, libraryWidth, height);
    const int catalogWidth = metrics.horizontalAdvance(shownText(SearchPickerSelection::catalog)) + 2 * horizontalPadding;
    return QRect(libraryWidth, top, catalogWidth, height);
}

QSize SearchPicker::sizeHint() const
{
    const QFontMetrics metrics(labelFont());
    const int width = metrics.horizontalAdvance(shownText(SearchPickerSelection::library)) +
                      metrics.horizontalAdvance(shownText(SearchPickerSelection::catalog)) + 4 * horizontalPadding;
    return QSize(width, metrics.height() + 2 * verticalPadding);
}

void SearchPicker::choose(SearchPickerSelection selection)
{
    if (m_viewModel.selection() != selection)
        m_viewModel.selection.set(selection);
    follow(selection);
}

void SearchPicker::follow(SearchPickerSelection selection)
{
    if (selection == m_shown && !m_capsule.isNull())
        return;
    m_shown = selection;
    const QRectF target = buttonRect(selection);
    if (m_capsule.isNull() || !isVisible()) {
        m_slide->stop();
        m_capsule = target;
        update();
        return;
    }
    m_slide->stop();
    m_slide->setStartValue(m_capsule);
    m_slide->setEndValue(target);
    m_slide->start();
}

void SearchPicker::paintEvent(QPaintEvent *)
{
    if (m_capsule.isNull() || m_slide->state() != QAbstractAnimation::Running)
        m_capsule = buttonRect(m_shown);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath capsule;
    capsule.addRoundedRect(m_capsule, m_capsule.height() / 2, m_capsule.height() / 2);
    QColor fill = SearchColors::tertiary(palette());
    fill.setAlphaF(float(capsuleOpacity));
    painter.fillPath(capsule, fill);
    painter.setFont(labelFont());
    painter.setPen(SearchColors::tertiary(palette()));
    for (const SearchPickerSelection choice : {SearchPickerSelection::library, SearchPickerSelection::catalog})
        painter.drawText(buttonRect(choice), Qt::AlignCenter, shownText(choice));
}

void SearchPicker::mousePressEvent(QMouseEvent *event)
{
    for (const SearchPickerSelection choice : {SearchPickerSelection::library, SearchPickerSelection::catalog}) {
        if (buttonRect(choice).contains(event->position().toPoint())) {
            choose(choice);
            event->accept();
            return;
        }
    }
    QWidget::mousePressEvent(event);
}

void SearchPicker::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange) {
        updateGeometry();
        update();
    }
}
