#include "controls/KTDocumentView.h"

#include "controls/KTColorView.h"

KTDocumentView::KTDocumentView(QWidget* parent) : QWidget(parent) {}

void KTDocumentView::setColorView(KTColorView* view) {
    colorView_ = view;
}
