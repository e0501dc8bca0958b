#pragma once
// The library/catalog switch beside the search field: two text buttons side by side, the chosen
// one with a capsule behind it that slides over when the choice changes. Ctrl+1 and Ctrl+2 choose
// while the search surface has the focus. It shows and writes SearchViewModel::selection.

#include "Lumevar/Search/SearchViewModel.h"

#include <QWidget>

class QVariantAnimation;

class SearchPicker : public QWidget {
    Q_OBJECT
public:
    // The labels: "Library", and the music service's word for its catalog.
    static QString libraryLabel();
    static QString catalogLabel();

    explicit SearchPicker(SearchViewModel &viewModel, QWidget *parent = nullptr);

    SearchPickerSelection selection() const { return m_shown; }
    // Chooses a source, as a press of its button does.
    void choose(SearchPickerSelection selection);
    // Where each button sits, in the picker's coordinates.
    QRect buttonRect(SearchPickerSelection selection) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void follow(SearchPickerSelection selection);
    QString shownText(SearchPickerSelection selection) const;
    QFont labelFont() const;

    SearchViewModel &m_viewModel;
    SearchPickerSelection m_shown;
    QRectF m_capsule;
    QVariantAnimation *m_slide;
    ObservationTrackingToken m_token;
};
