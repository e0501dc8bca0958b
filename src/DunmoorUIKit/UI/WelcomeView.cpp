#include "DunmoorUIKit/UI/WelcomeView.h"

#include "DunmoorUIKit/UI/KitSymbols.h"
#include "DunmoorUIKit/WelcomeViewModel.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

constexpr int imageSide = 96;
constexpr int insets = 20;
constexpr int switchInsets = 16;
constexpr int rowIconSide = 32;
constexpr qreal largeTitleScale = 2.0;
constexpr int urlRole = Qt::UserRole + 1;

} // namespace

void showInFileManager(const QUrl &url)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                                       QStringLiteral("/org/freedesktop/FileManager1"),
                                                       QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{url.toString()} << QString();
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, url] {
        if (watcher->isError())
            QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(url.toLocalFile()).absolutePath()));
        watcher->deleteLater();
    });
}

WelcomeView::WelcomeView(WelcomeViewModel &model, const QString &applicationName, const QIcon &applicationImage,
                         const QString &showOnLaunchKey, HostedWindowDismiss &dismiss, QWidget *parent)
    : QWidget(parent), m_model(model), m_dismiss(dismiss)
{
    setObjectName(QStringLiteral("welcomeView"));
    auto *image = new QLabel;
    image->setPixmap(applicationImage.pixmap(imageSide, imageSide));
    image->setFixedSize(imageSide, imageSide);
    auto *title = new QLabel(QStringLiteral("Welcome to ") + applicationName);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * largeTitleScale);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignHCenter);

    m_actions = new QWidget;
    m_actions->setLayout(new QVBoxLayout);
    m_actions->layout()->setContentsMargins(0, 0, 0, 0);

    auto *header = new QVBoxLayout;
    header->addWidget(image, 0, Qt::AlignHCenter);
    header->addWidget(title);
    header->addSpacing(insets);
    header->addWidget(m_actions);
    header->addStretch();

    m_recents = new QListWidget;
    m_recents->setObjectName(QStringLiteral("recents"));
    m_recents->setAccessibleName(QStringLiteral("Recent Documents"));
    m_recents->setIconSize({rowIconSide, rowIconSide});
    m_recents->setContextMenuPolicy(Qt::CustomContextMenu);
    auto *empty = new QLabel(QStringLiteral("No Recent Documents"));
    empty->setAlignment(Qt::AlignCenter);
    empty->setForegroundRole(QPalette::PlaceholderText);
    m_recentsStack = new QStackedWidget;
    m_recentsStack->addWidget(empty);
    m_recentsStack->addWidget(m_recents);

    auto *columns = new QHBoxLayout;
    columns->setSpacing(insets);
    columns->addLayout(header, 1);
    columns->addWidget(m_recentsStack, 1);

    m_showOnLaunch = new QCheckBox(QStringLiteral("Show this window when ") + applicationName + QStringLiteral(" starts"));
    UserDefaults &defaults = UserDefaults::standard();
    defaults.registerDefaults({{showOnLaunchKey, true}});
    m_showOnLaunch->setChecked(defaults.boolValue(showOnLaunchKey));
    connect(m_showOnLaunch, &QCheckBox::toggled, this,
            [showOnLaunchKey](bool on) { UserDefaults::standard().set(showOnLaunchKey, on); });
    auto *switchRow = new QHBoxLayout;
    switchRow->setContentsMargins(switchInsets, switchInsets, switchInsets, switchInsets);
    switchRow->addWidget(m_showOnLaunch);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(insets, insets, insets, insets);
    layout->addLayout(columns, 1);
    layout->addLayout(switchRow);

    connect(&m_model, &WelcomeViewModel::actionsChanged, this, &WelcomeView::rebuildActions);
    connect(&m_model, &WelcomeViewModel::recentsChanged, this, &WelcomeView::rebuildRecents);
    connect(&m_model, &WelcomeViewModel::thumbnailsChanged, this, &WelcomeView::refreshThumbnails);
    connect(m_recents, &QListWidget::itemActivated, this, &WelcomeView::openRecent);
    connect(m_recents, &QWidget::customContextMenuRequested, this, &WelcomeView::showRecentMenu);
    rebuildActions();
    rebuildRecents();
}

void WelcomeView::rebuildActions()
{
    QLayout *column = m_actions->layout();
    while (QLayoutItem *item = column->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const std::shared_ptr<WelcomeAction> &action : m_model.actions()) {
        auto *button = new QPushButton(KitSymbols::icon(action->symbolName), action->title);
        button->setFlat(true);
        button->setStyleSheet(QStringLiteral("text-align: left; padding: 6px;"));
        connect(button, &QPushButton::clicked, this, [weak = std::weak_ptr(action)] {
            if (const auto strong = weak.lock(); strong && strong->action)
                strong->action();
        });
        column->addWidget(button);
    }
}

void WelcomeView::rebuildRecents()
{
    m_recents->clear();
    for (const WelcomeRecent &recent : m_model.recents()) {
        // A desktop theme without an icon for the file's type still gets a document symbol.
        const QIcon icon = recent.fastIcon.isNull() ? KitSymbols::icon(QStringLiteral("doc")) : recent.fastIcon;
        auto *item = new QListWidgetItem(icon, recent.displayName, m_recents);
        item->setData(urlRole, recent.url);
        item->setToolTip(recent.url.toDisplayString(QUrl::PreferLocalFile));
    }
    m_recentsStack->setCurrentIndex(m_model.recents().isEmpty() ? 0 : 1);
    refreshThumbnails();
}

void WelcomeView::refreshThumbnails()
{
    const Qt::TransformationMode mode = m_model.allowsThumbnailInterpolation ? Qt::SmoothTransformation : Qt::FastTransformation;
    const QList<WelcomeRecent> &recents = m_model.recents();
    for (int row = 0; row < m_recents->count() && row < recents.size(); ++row) {
        const QImage thumbnail = m_model.recentsToThumbnails().value(recents[row]);
        if (thumbnail.isNull())
            continue;
        const qreal ratio = devicePixelRatioF();
        QPixmap pixmap = QPixmap::fromImage(thumbnail.scaled(QSize(rowIconSide, rowIconSide) * ratio, Qt::KeepAspectRatio, mode));
        pixmap.setDevicePixelRatio(ratio);
        m_recents->item(row)->setIcon(QIcon(pixmap));
    }
}

void WelcomeView::openRecent(QListWidgetItem *item)
{
    m_model.documents().openDocument(item->data(urlRole).toUrl(), true);
    m_dismiss.dismiss();
}

void WelcomeView::showRecentMenu(const QPoint &position)
{
    QListWidgetItem *item = m_recents->itemAt(position);
    if (!item)
        return;
    const QUrl url = item->data(urlRole).toUrl();
    QMenu menu;
    // The desktop's file manager stands for the Finder here.
    menu.addAction(QStringLiteral("Show in File Manager"), [url] { showInFileManager(url); });
    menu.exec(m_recents->viewport()->mapToGlobal(position));
}
