#include "app/FileRefusal.h"

#include <QFileInfo>
#include <QMessageBox>

namespace {

void showWarningSheet(QWidget* window, const QString& text, const QString& reason) {
    auto* message = new QMessageBox(QMessageBox::Warning, QStringLiteral("Study Loop"), text,
                                    QMessageBox::Ok, window);
    message->setInformativeText(reason.left(1).toUpper() + reason.mid(1) + QStringLiteral("."));
    message->setWindowModality(Qt::WindowModal);
    message->setAttribute(Qt::WA_DeleteOnClose);
    message->open();
}

} // namespace

void showFileRefusal(QWidget* window, const QString& path, const QString& reason) {
    showWarningSheet(window,
                     QStringLiteral("“%1” could not be opened.").arg(QFileInfo(path).fileName()),
                     reason);
}

void showWriteFailure(QWidget* window, const QString& path, const QString& reason) {
    showWarningSheet(window,
                     QStringLiteral("“%1” could not be written.").arg(QFileInfo(path).fileName()),
                     reason);
}
