// SPDX-License-Identifier: MIT
#include "app/qt/FilePanel.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <functional>
#include <optional>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace varnel {
namespace {

const OpenPanel both = {.canChooseDirectories = true,
                        .canChooseFiles = true,
                        .allowsMultipleSelection = false,
                        .prompt = "Clean",
                        .message = "Choose a folder or volume to clean"};

/// Shows the panel, types a name and presses the button that chooses; where that chooses nothing, closes the panel.
std::optional<std::string> chosen(const OpenPanel& value, const std::string& folder, const std::string& name) {
    FilePanel panel(value);
    panel.setDirectory(QString::fromStdString(folder));
    QTimer::singleShot(0, &panel, [&] {
        panel.findChild<QLineEdit*>()->setText(QString::fromStdString(name));
        // An explanation of why not would wait for somebody to read it.
        QTimer::singleShot(500, &panel, [&panel] {
            if (QWidget* const message = QApplication::activeModalWidget(); message != &panel) message->close();
            panel.reject();
        });
        panel.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open)->click();
    });
    return panel.exec() == QDialog::Accepted ? panel.path() : std::nullopt;
}

TEST(FilePanel, ChoosesAFolderOrAFile) {
    const tests::TemporaryFolder folder;
    folder.folder("disk/below");
    folder.file("disk/photo.jpg");
    EXPECT_EQ(chosen(both, folder.path(), folder.at("disk")), folder.at("disk"));
    EXPECT_EQ(chosen(both, folder.path(), folder.at("disk/photo.jpg")), folder.at("disk/photo.jpg"));
    EXPECT_EQ(chosen(both, folder.at("disk"), "below"), folder.at("disk/below"));
    EXPECT_EQ(chosen(both, folder.at("disk"), "photo.jpg"), folder.at("disk/photo.jpg"));
    EXPECT_EQ(chosen(both, folder.path(), folder.at("none")), std::nullopt);
}

TEST(FilePanel, ChoosesOnlyWhatItIsFor) {
    const tests::TemporaryFolder folder;
    folder.folder("below");
    folder.file("photo.jpg");
    OpenPanel onlyFolders = both;
    onlyFolders.canChooseFiles = false;
    EXPECT_EQ(chosen(onlyFolders, folder.path(), folder.at("below")), folder.at("below"));
    EXPECT_EQ(chosen(onlyFolders, folder.path(), folder.at("photo.jpg")), std::nullopt);
    OpenPanel onlyFiles = both;
    onlyFiles.canChooseDirectories = false;
    EXPECT_EQ(chosen(onlyFiles, folder.path(), folder.at("photo.jpg")), folder.at("photo.jpg"));
    EXPECT_EQ(chosen(onlyFiles, folder.path(), folder.at("below")), std::nullopt);
}

TEST(FilePanel, MakesAndChangesNothing) {
    EXPECT_TRUE(FilePanel(both).testOption(QFileDialog::ReadOnly));
}

TEST(FilePanel, SaysWhatIsToBeChosen) {
    const FilePanel panel(both);
    EXPECT_EQ(panel.windowTitle(), "Choose a folder or volume to clean");
    EXPECT_EQ(panel.accessibleName(), "Choose a folder or volume to clean");
    bool hasPrompt = false;
    for (const QPushButton* const button : panel.findChildren<QPushButton*>())
        hasPrompt = hasPrompt || button->text().remove('&') == "Clean";
    EXPECT_TRUE(hasPrompt);
}

}  // namespace
}  // namespace varnel
