// SPDX-License-Identifier: MIT
#include "app/qt/FilePanel.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>

#include "app/Desktop.h"
#include "app/qt/QtText.h"

namespace varnel {
namespace {

/// The places where disks are mounted, so that one is two clicks away.
QList<QUrl> places() {
    QList<QUrl> urls = {QUrl::fromLocalFile(QDir::homePath())};
    const QString user = qEnvironmentVariable("USER");
    for (const QString& folder : {QLatin1String("/run/media/") + user, QLatin1String("/media/") + user,
                                  QStringLiteral("/media"), QStringLiteral("/mnt"), QStringLiteral("/Volumes")}) {
        if (QFileInfo(folder).isDir()) urls.append(QUrl::fromLocalFile(folder));
    }
    urls.append(QUrl::fromLocalFile(QStringLiteral("/")));
    return urls;
}

}  // namespace

FilePanel::FilePanel(const OpenPanel& panel, QWidget* parent)
    : QFileDialog(parent), canChooseDirectories_(panel.canChooseDirectories), canChooseFiles_(panel.canChooseFiles) {
    // First: until then a desktop with a dialog of its own has Qt make no widgets at all.
    setOption(QFileDialog::DontUseNativeDialog);
    setOption(QFileDialog::ReadOnly);  // here something is chosen, nothing made, renamed or deleted
    setFileMode(canChooseDirectories_ ? QFileDialog::Directory : QFileDialog::ExistingFile);
    setOption(QFileDialog::ShowDirsOnly, !canChooseFiles_);
    setFilter(QDir::AllEntries | QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System);
    setSidebarUrls(places());
    setDirectory(QDir::homePath());
    setLabelText(QFileDialog::FileName, QStringLiteral("Name:"));
    setWindowTitle(QtText::shown(panel.message));
    setAccessibleName(windowTitle());
    setLabelText(QFileDialog::Accept, QtText::shown(panel.prompt));
    // There is one type only, and the list of them would say "Directories" where files can be chosen, too.
    for (const char* const part : {"fileTypeLabel", "fileTypeCombo"}) {
        if (auto* const widget = findChild<QWidget*>(QLatin1String(part))) widget->hide();
    }
    if (auto* const sidebar = findChild<QWidget*>(QStringLiteral("sidebar"))) {
        constexpr int characters = 16;
        sidebar->setMinimumWidth(fontMetrics().averageCharWidth() * characters);
    }
    // A dialog for folders takes the button away from every file, each time that it looks at the name.
    button_ = findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open);
    button_->installEventFilter(this);
    connect(findChild<QLineEdit*>(), &QLineEdit::textChanged, this, &FilePanel::updateButton);
}

bool FilePanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == button_ && event->type() == QEvent::EnabledChange) updateButton();
    return QFileDialog::eventFilter(watched, event);
}

QString FilePanel::selected() const {
    const QStringList files = selectedFiles();
    return files.isEmpty() ? directory().absolutePath() : files.first();
}

void FilePanel::updateButton() {
    if (mayBeChosen(selected())) button_->setEnabled(true);
}

bool FilePanel::mayBeChosen(const QString& path) const {
    const QFileInfo facts(path);
    return facts.isDir() ? canChooseDirectories_ : canChooseFiles_ && facts.exists();
}

void FilePanel::accept() {
    const QString path = selected();
    if (!mayBeChosen(path)) {
        QFileDialog::accept();  // which explains, and stays open
        return;
    }
    path_ = QFile::encodeName(path).toStdString();
    QDialog::accept();  // NOLINT(bugprone-parent-virtual-call): the file dialog's own would not take a file
}

}  // namespace varnel
