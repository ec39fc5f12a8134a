#pragma once

// The window's warning about a file: a sheet over the window with what could not be done
// to which file and, below it, why in plain words. The program goes on as it was.
//
// Thread contract: main thread.

#include <QString>

class QWidget;

// "“name” could not be opened." and the reason, for a recording that cannot be read.
void showFileRefusal(QWidget* window, const QString& path, const QString& reason);
// "“name” could not be written." and the reason, for a file the program could not make.
void showWriteFailure(QWidget* window, const QString& path, const QString& reason);
