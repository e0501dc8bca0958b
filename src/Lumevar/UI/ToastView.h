#pragma once
// The small rounded toast shown over the main view: a symbol (or, while a progress is given, a
// progress indicator instead of it) above a label.

#include <QWidget>
#include <optional>

class QLabel;
class QProgressBar;
class QVariantAnimation;

class ToastView : public QWidget {
    Q_OBJECT
public:
    ToastView(const QString &symbolName, const QString &label, bool rotatesSymbol, QWidget *parent = nullptr);

    QString label() const;
    // A fraction from 0 to 1 shows the progress indicator in place of the symbol; nullopt shows the symbol.
    void setProgress(std::optional<double> fraction);
    bool showsProgress() const;
    bool showsSymbol() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void drawSymbol(double angle);

    QString m_symbolName;
    QLabel *m_symbol;
    QLabel *m_label;
    QProgressBar *m_progress;
    QVariantAnimation *m_rotation = nullptr;
};
