#pragma once

// A plain document widget for a scroll area, which knows the colour view drawn over it.
//
// Thread contract: main thread only.
// Ownership: the widget belongs to its parent (the scroll area); the colour view is not owned
// and reads as null once it has been destroyed.

#include <QPointer>
#include <QWidget>

class KTColorView;

class KTDocumentView : public QWidget {
    Q_OBJECT

public:
    explicit KTDocumentView(QWidget* parent = nullptr);

    KTColorView* colorView() const { return colorView_; }
    void setColorView(KTColorView* view);

private:
    QPointer<KTColorView> colorView_;
};
