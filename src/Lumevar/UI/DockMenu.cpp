#include "Lumevar/UI/DockMenu.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/UI/Icons.h"
#include "Support/Task.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

DockMenu::DockMenu(MainViewModel &model, QObject *parent) : QObject(parent), m_model(model), m_menu(new QMenu)
{
    // The menu is read when it opens, so that "Play"/"Pause" says what a click will do.
    connect(m_menu, &QMenu::aboutToShow, this, &DockMenu::rebuild);
    rebuild();
}

DockMenu::~DockMenu()
{
    delete m_tray;
    delete m_menu;
}

void DockMenu::addPlayerEntries(QMenu *menu, MainViewModel &model)
{
    QAction *toggle = menu->addAction(model._isPlaying() ? QStringLiteral("Pause") : QStringLiteral("Play"));
    toggle->setObjectName(QStringLiteral("playPause"));
    QObject::connect(toggle, &QAction::triggered, menu,
                     [&model] { detach(model._isPlaying() ? model.pausePlayback() : model.resumePlayback()); });
    QAction *next = menu->addAction(QStringLiteral("Next Track"));
    next->setObjectName(QStringLiteral("nextTrack"));
    QObject::connect(next, &QAction::triggered, menu, [&model] { detach(model.skipToNext()); });
    QAction *previous = menu->addAction(QStringLiteral("Previous Track"));
    previous->setObjectName(QStringLiteral("previousTrack"));
    QObject::connect(previous, &QAction::triggered, menu, [&model] { detach(model.skipToPrevious()); });
}

void DockMenu::rebuild()
{
    m_menu->clear();
    addPlayerEntries(m_menu, m_model);
#ifndef Q_OS_MACOS
    m_menu->addSeparator();
    connect(m_menu->addAction(QStringLiteral("Show Lumevar")), &QAction::triggered, this, &DockMenu::showWindowRequested);
    connect(m_menu->addAction(QStringLiteral("Quit Lumevar")), &QAction::triggered, this, &DockMenu::quitRequested);
#endif
}

bool DockMenu::install()
{
#ifdef Q_OS_MACOS
    m_menu->setAsDockMenu();
    return true;
#else
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        return false;
    if (!m_tray) {
        QIcon icon = QApplication::windowIcon();
        if (icon.isNull())
            icon = Icons::symbol(QStringLiteral("music.note"));
        m_tray = new QSystemTrayIcon(icon);
        m_tray->setToolTip(MainViewModel::productName);
        m_tray->setContextMenu(m_menu);
        connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                Q_EMIT showWindowRequested();
        });
    }
    m_tray->show();
    return true;
#endif
}
