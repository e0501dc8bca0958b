#pragma once
// One feature of the What's New window: its symbol (24 points, in a column 36 points wide) beside
// the title, the subtitle 2 points below it, and, when the feature has a link, a line that opens it.

#include "DunmoorUIKit/Feature.h"

#include <QWidget>

class FeatureView : public QWidget {
    Q_OBJECT
public:
    explicit FeatureView(const Feature &feature, QWidget *parent = nullptr);
};
