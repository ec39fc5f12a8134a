#include "app/ColorBandWindow.h"

#include "ui_ColorBandWindow.h"

ColorBandWindow::ColorBandWindow(QWidget* parent)
    : QWidget(parent, Qt::Window), ui_(std::make_unique<Ui::ColorBandWindow>()) {
    ui_->setupUi(this);
    ui_->documentView->setColorView(ui_->colorView);
}

ColorBandWindow::~ColorBandWindow() = default;
