#pragma once
// The "Appearance" tab: title weight, row padding, artwork size, one-line titles, subtitles,
// alternating rows, and "Restore Defaults". Each control shows the stored value, follows it when
// it changes elsewhere, and writes through SettingsEditor.

#include <QWidget>

class QCheckBox;
class QComboBox;
class QPushButton;
class QSlider;
class SettingsEditor;

class AppearanceSettingsView : public QWidget {
    Q_OBJECT
public:
    AppearanceSettingsView(SettingsEditor &editor, QWidget *parent = nullptr);

    QComboBox *fontWeightPicker() const { return m_fontWeight; }
    QComboBox *paddingPicker() const { return m_padding; }
    QSlider *artworkSizeSlider() const { return m_artworkSize; }
    QCheckBox *limitTitlesToggle() const { return m_limitTitles; }
    QCheckBox *showSubtitlesToggle() const { return m_showSubtitles; }
    QCheckBox *alternatingRowsToggle() const { return m_alternatingRows; }
    QPushButton *restoreDefaultsButton() const { return m_restoreDefaults; }

private:
    void showStoredValues();

    SettingsEditor &m_editor;
    QComboBox *m_fontWeight;
    QComboBox *m_padding;
    QSlider *m_artworkSize;
    QCheckBox *m_limitTitles;
    QCheckBox *m_showSubtitles;
    QCheckBox *m_alternatingRows;
    QPushButton *m_restoreDefaults;
    bool m_showing = false;
};
