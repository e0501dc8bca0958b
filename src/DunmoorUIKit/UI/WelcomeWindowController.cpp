#include "DunmoorUIKit/UI/WelcomeWindowController.h"

#include "DunmoorUIKit/UI/WelcomeView.h"
#include "Support/UserDefaults.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace {
QString frameKey(const QString &name) { return QStringLiteral("WelcomeWindowFrame ") + name; }
} // namespace

WelcomeWindowController::WelcomeWindowController(RecentDocumentController &documents, Options options, QObject *parent)
    : QObject(parent), m_viewModel(documents), m_options(std::move(options))
{
    auto *view = new WelcomeView(m_viewModel, m_options.applicationName, m_options.applicationImage,
                                 m_options.showOnLaunchKey, m_dismiss);
    view->setWindowTitle(QStringLiteral("Welcome to ") + m_options.applicationName);
    view->setWindowFlags(Qt::Window);
    view->installEventFilter(this);
    m_window = view;
    m_dismiss.action = [this] { close(); };
    m_viewModel.reloadRecents();
}

WelcomeWindowController::~WelcomeWindowController()
{
    delete m_window;
}

void WelcomeWindowController::showWindow()
{
    if (!m_window)
        return;
    const std::optional<QByteArray> frame =
        m_options.frameAutosaveName.isEmpty() ? std::nullopt : UserDefaults::standard().dataValue(frameKey(m_options.frameAutosaveName));
    if (!frame || !m_window->restoreGeometry(*frame)) {
        m_window->resize(m_window->sizeHint().expandedTo({640, 400}));
        if (const QScreen *screen = QGuiApplication::primaryScreen()) {
            QRect frameRect = m_window->frameGeometry();
            frameRect.moveCenter(screen->availableGeometry().center());
            m_window->move(frameRect.topLeft());
        }
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void WelcomeWindowController::close()
{
    if (m_window)
        m_window->close();
}

bool WelcomeWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window && event->type() == QEvent::Close)
        windowWillClose();
    return QObject::eventFilter(watched, event);
}

void WelcomeWindowController::windowWillClose()
{
    if (!m_options.frameAutosaveName.isEmpty())
        UserDefaults::standard().set(frameKey(m_options.frameAutosaveName), m_window->saveGeometry());
    if (delegate)
        delegate->welcomeWindowControllerDidClose(*this);
}
