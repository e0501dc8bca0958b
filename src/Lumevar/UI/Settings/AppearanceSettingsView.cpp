#include "Lumevar/UI/Settings/AppearanceSettingsView.h"

#include "Lumevar/Settings/SettingsEditor.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

AppearanceSettingsView::AppearanceSettingsView(SettingsEditor &editor, QWidget *parent)
    : QWidget(parent), m_editor(editor), m_fontWeight(new QComboBox(this)), m_padding(new QComboBox(this)),
      m_artworkSize(new QSlider(Qt::Horizontal, this)), m_limitTitles(new QCheckBox(QStringLiteral("Limit Titles to One Line"), this)),
      m_showSubtitles(new QCheckBox(QStringLiteral("Show Subtitles"), this)),
      m_alternatingRows(new QCheckBox(QStringLiteral("Use Alternating Row Colors"), this)),
      m_restoreDefaults(new QPushButton(QStringLiteral("Restore Defaults"), this))
{
    setObjectName(QStringLiteral("appearanceSettings"));
    m_fontWeight->addItems(fontWeightTexts());
    m_padding->addItems(paddingTexts());
    m_artworkSize->setRange(SettingsDefaults::minimumArtworkSize, SettingsDefaults::maximumArtworkSize);
    m_artworkSize->setSingleStep(1);
    m_artworkSize->setPageStep(1);
    m_artworkSize->setTickPosition(QSlider::TicksBelow);
    m_artworkSize->setTickInterval(1);

    auto *form = new QFormLayout;
    form->setFormAlignment(Qt::AlignHCenter | Qt::AlignTop);
    form->setLabelAlignment(Qt::AlignRight);
    form->addRow(QStringLiteral("Font Weight:"), m_fontWeight);
    form->addRow(QStringLiteral("Padding:"), m_padding);
    form->addRow(QStringLiteral("Artwork Size:"), m_artworkSize);
    form->addRow(QString(), m_limitTitles);
    form->addRow(QString(), m_showSubtitles);
    form->addRow(QString(), m_alternatingRows);
    auto *button = new QVBoxLayout;
    button->setContentsMargins(0, 4, 0, 0);
    button->addWidget(m_restoreDefaults, 0, Qt::AlignLeft);
    form->addRow(QString(), button);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    layout->addLayout(form);
    layout->addStretch(1);

    showStoredValues();

    // A control's change writes through the editor, unless it is only showing a stored value.
    connect(m_fontWeight, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_showing && index >= 0)
            m_editor.setFontWeight(FontWeightSetting(index));
    });
    connect(m_padding, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (!m_showing && index >= 0)
            m_editor.setPadding(PaddingSetting(index));
    });
    connect(m_artworkSize, &QSlider::valueChanged, this, [this](int size) {
        if (!m_showing)
            m_editor.setArtworkSize(size);
    });
    connect(m_limitTitles, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing)
            m_editor.setLimitTitlesToOneLine(on);
    });
    connect(m_showSubtitles, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing)
            m_editor.setShowSubtitles(on);
    });
    connect(m_alternatingRows, &QCheckBox::toggled, this, [this](bool on) {
        if (!m_showing)
            m_editor.setUseAlternatingRowColors(on);
    });
    connect(m_restoreDefaults, &QPushButton::clicked, this, [this] { m_editor.restoreDefaults(); });
    connect(&UserDefaults::standard(), &UserDefaults::changed, this, [this] { showStoredValues(); });
}

void AppearanceSettingsView::showStoredValues()
{
    m_showing = true;
    m_fontWeight->setCurrentIndex(int(AppearanceSettings::fontWeight()));
    m_padding->setCurrentIndex(int(AppearanceSettings::padding()));
    m_artworkSize->setValue(AppearanceSettings::artworkSize());
    m_limitTitles->setChecked(AppearanceSettings::limitTitlesToOneLine());
    m_showSubtitles->setChecked(AppearanceSettings::showSubtitles());
    m_alternatingRows->setChecked(AppearanceSettings::useAlternatingRowColors());
    m_showing = false;
}
