// SPDX-License-Identifier: MIT
#include "app/qt/AlertDialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QTimer>
#include <functional>
#include <string>

namespace varnel {
namespace {

Alert question() {
    return {.message = "Clean /media/<b>R&D</b>?",
            .informativeText = "2 item(s), 12 bytes will be removed.",
            .buttons = {"Clean & Go", "Cancel"},
            .style = Alert::Style::warning,
            .report = "one\ntwo\n"};
}

void press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QKeyEvent down(QEvent::KeyPress, key, modifiers);
    QKeyEvent up(QEvent::KeyRelease, key, modifiers);
    QApplication::sendEvent(&widget, &down);
    QApplication::sendEvent(&widget, &up);
}

/// Shows the alert and does that to it; gives its result.
int answered(const Alert& alert, const std::function<void(AlertDialog&)>& answer) {
    AlertDialog dialog(alert);
    QTimer::singleShot(0, &dialog, [&] { answer(dialog); });
    return dialog.exec();
}

TEST(AlertDialog, TakesTheFirstButtonForYesAndAllElseForNo) {
    const struct {
        const char* name;
        std::function<void(AlertDialog&)> answer;
        int result;
    } cases[] = {
        {"first button", [](AlertDialog& dialog) { dialog.buttons()[0]->click(); }, QDialog::Accepted},
        {"second button", [](AlertDialog& dialog) { dialog.buttons()[1]->click(); }, QDialog::Rejected},
        {"Return", [](AlertDialog& dialog) { press(dialog, Qt::Key_Return); }, QDialog::Accepted},
        {"Escape", [](AlertDialog& dialog) { press(dialog, Qt::Key_Escape); }, QDialog::Rejected},
        {"the close box", [](AlertDialog& dialog) { dialog.close(); }, QDialog::Rejected},
        {"Space on the second",
         [](AlertDialog& dialog) {
             dialog.buttons()[1]->setFocus();
             press(*dialog.buttons()[1], Qt::Key_Space);
         },
         QDialog::Rejected},
    };
    for (const auto& [name, answer, result] : cases)
        EXPECT_EQ(answered(question(), answer), result) << name;
}

TEST(AlertDialog, ShowsItsTextsAsTheyStand) {
    const AlertDialog dialog(question());
    QStringList texts;
    for (const QLabel* const label : dialog.findChildren<QLabel*>()) {
        if (label->text().isEmpty()) continue;
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
        texts.append(label->text());
    }
    EXPECT_EQ(texts, (QStringList{"Clean /media/<b>R&D</b>?", "2 item(s), 12 bytes will be removed."}));
    EXPECT_EQ(dialog.buttons()[0]->text(), "Clean && Go");
    EXPECT_TRUE(dialog.buttons()[0]->isDefault());
    EXPECT_EQ(dialog.accessibleName(), "Clean /media/<b>R&D</b>?");
    EXPECT_EQ(dialog.accessibleDescription(), "2 item(s), 12 bytes will be removed.");
}

TEST(AlertDialog, ShowsAReportToBeReadOnly) {
    const AlertDialog dialog(question());
    const auto* const report = dialog.findChild<QPlainTextEdit*>();
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->toPlainText(), "one\ntwo\n");
    EXPECT_TRUE(report->isReadOnly());
    EXPECT_EQ(report->font().pointSize(), 11);
    EXPECT_EQ(report->font().weight(), QFont::Normal);
    EXPECT_EQ(report->lineWrapMode(), QPlainTextEdit::NoWrap);
    EXPECT_FALSE(report->accessibleName().isEmpty());
    const QSize room = dialog.screen()->availableGeometry().size();
    EXPECT_EQ(report->minimumWidth(), std::min(520 * dialog.logicalDpiX() / 72, room.width() * 4 / 5));
    EXPECT_EQ(report->minimumHeight(), std::min(240 * dialog.logicalDpiY() / 72, room.height() / 2));
    Alert without = question();
    without.report.reset();
    EXPECT_EQ(AlertDialog(without).findChild<QPlainTextEdit*>(), nullptr);
}

TEST(AlertDialog, CopiesAllItsTexts) {
    answered(question(), [](AlertDialog& dialog) {
        press(dialog, Qt::Key_C, Qt::ControlModifier);
        dialog.close();
    });
    EXPECT_EQ(QApplication::clipboard()->text(),
              "Clean /media/<b>R&D</b>?\n\n2 item(s), 12 bytes will be removed.\n\none\ntwo\n");
}

TEST(AlertDialog, StaysOnTheScreenWhateverItHasToSay) {
    Alert alert = question();
    alert.message.append(10000, 'x');
    for (int i = 0; i < 200; ++i)
        alert.informativeText += "\nline";
    AlertDialog dialog(alert);
    dialog.show();
    const QRect screen = dialog.screen()->availableGeometry();
    EXPECT_LE(dialog.minimumSizeHint().width(), screen.width());
    EXPECT_LE(dialog.minimumSizeHint().height(), screen.height());
    EXPECT_NE(dialog.findChild<QScrollArea*>(), nullptr);
}

TEST(AlertDialog, TakesItsColoursFromTheDesktop) {
    const QPalette before = QApplication::palette();
    QPalette contrast = before;
    contrast.setColor(QPalette::Window, Qt::black);
    contrast.setColor(QPalette::WindowText, Qt::yellow);
    QApplication::setPalette(contrast);
    AlertDialog dialog(question());
    dialog.show();
    const QImage image = dialog.grab().toImage();
    int yellow = 0;
    int black = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            yellow += image.pixelColor(x, y) == QColor(Qt::yellow) ? 1 : 0;
            black += image.pixelColor(x, y) == QColor(Qt::black) ? 1 : 0;
        }
    }
    QApplication::setPalette(before);
    EXPECT_GT(yellow, 100);
    EXPECT_GT(black, 1000);
}

}  // namespace
}  // namespace varnel
