// SPDX-License-Identifier: MIT
//
// For tests of windows without a screen.
#include <gtest/gtest.h>

#include <QApplication>
#include <QtGlobal>

#include "tests/support/TemporaryFolder.h"

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt keeps what the file panel was like.
    const varnel::tests::TemporaryFolder configuration;
    qputenv("XDG_CONFIG_HOME", configuration.path().c_str());
    qputenv("XDG_RUNTIME_DIR", configuration.path().c_str());
    ::testing::InitGoogleTest(&count, words);
    const QApplication application(count, words);
    QApplication::setApplicationDisplayName(QStringLiteral("Varnel"));
    return RUN_ALL_TESTS();
}
