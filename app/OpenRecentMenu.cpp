#include "app/OpenRecentMenu.h"

#include "platform/desktop/RecentFiles.h"

#include <QFileInfo>
#include <QMenu>
#include <thread>

OpenRecentMenu::OpenRecentMenu(QMenu* menu, std::function<void(const QString&)> open,
                               QObject* parent)
    : QObject(parent), menu_(menu), open_(std::move(open)) {
    connect(menu_, &QMenu::aboutToShow, this, &OpenRecentMenu::rebuild);
}

OpenRecentMenu::~OpenRecentMenu() {
    if (mailbox_)
        mailbox_->close();
}

void OpenRecentMenu::rebuild() {
    menu_->clear();
    const QStringList paths = platform::desktop::RecentFiles().list(
        10, platform::desktop::RecentFiles::Existence::Unchecked);
    for (const QString& path : paths) {
        QAction* item = menu_->addAction(QFileInfo(path).fileName());
        item->setToolTip(path);
        item->setData(path);
        connect(item, &QAction::triggered, this, [this, path] { open_(path); });
    }
    menu_->addSeparator();
    QAction* clear = menu_->addAction(QStringLiteral("Clear Menu"));
    clear->setEnabled(!paths.isEmpty());
    connect(clear, &QAction::triggered, this, [] { platform::desktop::RecentFiles().clear(); });

    if (mailbox_)
        mailbox_->close();
    mailbox_ = std::make_shared<WorkerMailbox>(this);
    std::thread([paths, mailbox = mailbox_, this] {
        QList<bool> present;
        for (const QString& path : paths)
            present.append(QFileInfo(path).isFile());
        mailbox->post([this, paths, present] { markMissing(paths, present); });
    }).detach();
}

void OpenRecentMenu::markMissing(const QStringList& paths, const QList<bool>& present) {
    for (QAction* item : menu_->actions()) {
        const qsizetype index = paths.indexOf(item->data().toString());
        if (index >= 0 && !present[index]) {
            item->setEnabled(false);
            item->setToolTip(QStringLiteral("%1 (not found)").arg(paths[index]));
        }
    }
}
