// SPDX-License-Identifier: MIT
#include "app/qt/SymbolIcon.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPalette>
#include <QPixmap>

namespace varnel {
namespace {

/// How many pixels of the drawing are opaque, and whether all of these have the colour.
struct Look {
    int opaque = 0;
    bool hasOnlyThatColor = true;
};

Look look(const QIcon& icon, int size, const QColor& color) {
    const QImage image = icon.pixmap(QSize(size, size), 1.0).toImage();
    Look found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() < 255) continue;
            ++found.opaque;
            found.hasOnlyThatColor = found.hasOnlyThatColor && pixel == color;
        }
    }
    return found;
}

TEST(SymbolIcon, IsDrawnInOneColourForEverySizeOfBar) {
    for (const QColor& color : {QColor(Qt::white), QColor(Qt::black), QColor(10, 200, 30)}) {
        const QIcon icon = SymbolIcon::drawn("sparkles", color);
        for (const int size : {16, 22, 24, 32, 48, 64, 128}) {
            const Look found = look(icon, size, color);
            EXPECT_GT(found.opaque, size * size / 20) << size;
            EXPECT_LT(found.opaque, size * size / 2) << size;
            EXPECT_TRUE(found.hasOnlyThatColor) << size << color.name().toStdString();
        }
    }
}

TEST(SymbolIcon, IsNullForWhatWeHaveNotDrawn) {
    EXPECT_TRUE(SymbolIcon::drawn("unicorn", Qt::white).isNull());
    EXPECT_EQ(SymbolIcon::themeName("unicorn"), QString());
}

TEST(SymbolIcon, IsLightOnDarkBarsAndDarkOnLightOnes) {
    const QPalette before = QGuiApplication::palette();
    QPalette palette = before;
    palette.setColor(QPalette::Window, QColor(30, 30, 30));
    QGuiApplication::setPalette(palette);
    EXPECT_GT(SymbolIcon::barColor().lightness(), 200);
    palette.setColor(QPalette::Window, QColor(240, 240, 240));
    QGuiApplication::setPalette(palette);
    EXPECT_LT(SymbolIcon::barColor().lightness(), 80);
    QGuiApplication::setPalette(before);
}

}  // namespace
}  // namespace varnel
