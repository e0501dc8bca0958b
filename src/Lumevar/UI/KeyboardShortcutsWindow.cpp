#include "Lumevar/UI/KeyboardShortcutsWindow.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "Lumevar/UI/ServiceTexts.h"
#include "Platform/Music/MusicService.h"

#include <QGridLayout>
#include <QKeySequence>
#include <QLabel>
#include <QShowEvent>
#include <QVBoxLayout>

QList<KeyboardShortcutsWindow::Row> KeyboardShortcutsWindow::rows()
{
    // Keys in the platform's own notation (Ctrl on Linux, ⌘ on macOS).
    const auto native = [](const QKeySequence &sequence) { return sequence.toString(QKeySequence::NativeText); };
    return {
        {QStringLiteral("Navigate the current list"), QStringLiteral("▲ ▼ arrow keys")},
        {QStringLiteral("Navigate between sections or panes"), QStringLiteral("◀ ▶ arrow keys")},
        {QStringLiteral("Play the selected item"), QStringLiteral("return")},
        {QStringLiteral("Play or pause the current song"), QStringLiteral("space")},
        {QStringLiteral("Add the current song to your library"), native(QKeySequence(Qt::CTRL | Qt::Key_S))},
        {QStringLiteral("Skip to the previous track"), native(QKeySequence(Qt::CTRL | Qt::Key_Left))},
        {QStringLiteral("Skip to the next track"), native(QKeySequence(Qt::CTRL | Qt::Key_Right))},
        {QStringLiteral("Search your library"), native(QKeySequence(Qt::CTRL | Qt::Key_F))},
        {ServiceTexts::searchCatalogShortcut(MusicService::shared()), native(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F))},
    };
}

KeyboardShortcutsWindow::KeyboardShortcutsWindow(QWidget *parent) : QWidget(parent, Qt::Window)
{
    setObjectName(QStringLiteral("keyboard_shortcuts"));
    setWindowTitle(QStringLiteral("Keyboard Shortcuts"));
    auto *column = new QVBoxLayout(this);
    column->setSpacing(16);
    auto *intro = new QLabel(QStringLiteral("Lumevar supports a wide range of keyboard shortcuts to make navigating the app easier."), this);
    intro->setWordWrap(true);
    column->addWidget(intro);
    auto *grid = new QGridLayout;
    int line = 0;
    for (const Row &row : rows()) {
        grid->addWidget(new QLabel(row.text, this), line, 0);
        auto *keys = new QLabel(row.keys, this);
        QFont font = keys->font();
        font.setBold(true);
        keys->setFont(font);
        grid->addWidget(keys, line, 1, Qt::AlignRight);
        ++line;
    }
    column->addLayout(grid);
    auto *tip = new QLabel(QStringLiteral("Tip: You can also navigate between different panes by swiping with two fingers on "
                                          "your trackpad, or swiping with one finger on your Magic Mouse."),
                           this);
    tip->setWordWrap(true);
    QFont small = tip->font();
    small.setPointSizeF(small.pointSizeF() * 0.9);
    tip->setFont(small);
    column->addWidget(tip);
    column->setSizeConstraint(QLayout::SetFixedSize);
}

void KeyboardShortcutsWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (!event->spontaneous())
        sendAppSignal(AppSignal::viewKeyboardShortcuts);
}
