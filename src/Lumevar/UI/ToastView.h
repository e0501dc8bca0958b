#pragma once
// The small rounded toast shown over the main view: a symbol above a label, or, while a progress is
// given, a circular progress indicator in place of the symbol. A rotating toast turns its symbol
// continuously while shown (the "Syncing Library" arrows).

#include <QWidget>
#include <optional>

class QLabel;
class QVariantAnimation;

class ToastView : public QWidget {
    Q_OBJECT
public:
    static constexpr int symbolSize = 20;
    static constexpr int progressSize = 28;

    ToastView(const QString &symbolName, const QString &label, bool rotatesSymbol, QWidget *parent = nullptr);

    QString label() const;
    // A fraction from 0 to 1 shows the progress indicator in place of the symbol; nullopt shows the symbol.
    void setProgress(std::optional<double> fraction);
    std::optional<double> progress() const { return m_progress; }
    bool showsProgress() const { return m_progress.has_value(); }
    bool showsSymbol() const { return !m_progress.has_value(); }
    bool isRotating() const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    // The square above the label where the symbol or the progress ring is drawn.
    QRectF indicatorRect() const;

    QString m_symbolName;
    QWidget *m_indicator;
    QLabel *m_label;
    std::optional<double> m_progress;
    double m_angle = 0;
    QVariantAnimation *m_rotation = nullptr;
};
