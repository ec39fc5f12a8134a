#pragma once

// File > Open Recent: the recordings Study Loop opened last, from the desktop's recent-files
// list, rebuilt each time the menu opens, and Clear Menu. The menu opens at once: whether
// each file is still there is asked on a worker thread (a file on a share that stopped
// answering would hold the window for as long as the share), and entries whose file is
// gone are greyed out when the answer comes.
//
// Thread contract: main thread; the existence check runs on a worker of its own.

#include "app/WorkerMailbox.h"

#include <QObject>
#include <functional>
#include <memory>

class QMenu;

class OpenRecentMenu : public QObject {
    Q_OBJECT

public:
    // `open` is called with the path of the entry chosen.
    OpenRecentMenu(QMenu* menu, std::function<void(const QString&)> open,
                   QObject* parent = nullptr);
    ~OpenRecentMenu() override;

    void rebuild();

private:
    void markMissing(const QStringList& paths, const QList<bool>& present);

    QMenu* menu_;
    std::function<void(const QString&)> open_;
    std::shared_ptr<WorkerMailbox> mailbox_;
};
