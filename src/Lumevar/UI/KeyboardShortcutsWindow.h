#pragma once
// The "Keyboard Shortcuts" help window: what each key does in the main window. Opening it counts
// as a view of the shortcuts for the usage signals.

#include <QWidget>

class KeyboardShortcutsWindow : public QWidget {
    Q_OBJECT
public:
    explicit KeyboardShortcutsWindow(QWidget *parent = nullptr);

    struct Row {
        QString text;
        QString keys;
    };
    static QList<Row> rows();

protected:
    void showEvent(QShowEvent *event) override;
};
