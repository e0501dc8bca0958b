#include "TelemetryDeck/ApplicationActivity.h"

#include <QCoreApplication>

ApplicationActivity &ApplicationActivity::shared()
{
    static ApplicationActivity activity;
    return activity;
}

ApplicationActivity::ApplicationActivity()
{
    QCoreApplication *application = QCoreApplication::instance();
    if (application
        && application->metaObject()->indexOfSignal("applicationStateChanged(Qt::ApplicationState)") >= 0) {
        connect(application, SIGNAL(applicationStateChanged(Qt::ApplicationState)), this,
                SLOT(applicationStateChanged(Qt::ApplicationState)));
    }
}

void ApplicationActivity::applicationStateChanged(Qt::ApplicationState state)
{
    setActive(state == Qt::ApplicationActive);
}

void ApplicationActivity::setActive(bool active)
{
    if (active == m_active)
        return;
    m_active = active;
    if (active)
        Q_EMIT willBecomeActive();
    else
        Q_EMIT didResignActive();
}
