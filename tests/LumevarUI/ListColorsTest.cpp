// The navigator's colours from the themes Lumevar meets.
#include "Lumevar/UI/Navigator/ListColors.h"
#include "TestKit/TestPalettes.h"

#include <QApplication>
#include <gtest/gtest.h>

// Hair-lines between rows and panes stay visible on a theme whose mid tone is its base colour,
// as GTK's dark Adwaita gives, and keep the light theme's grey.
TEST(ListColorsTest, SeparatorsStandOutOfTheBaseWhateverTheThemesMidTone)
{
    for (const bool dark : {false, true}) {
        QPalette palette = dark ? darkPalette() : QApplication::palette();
        palette.setColor(QPalette::Mid, palette.color(QPalette::Base));
        const ListColors colors = ListColors::from(palette);
        EXPECT_EQ(colors.isDark, dark);
        EXPECT_GE(std::abs(colors.separator.lightness() - colors.base.lightness()), 30) << (dark ? "dark" : "light");
        EXPECT_LE(std::abs(colors.separator.lightness() - colors.base.lightness()), 90) << (dark ? "dark" : "light");
    }
}
