#include "controls/KTColorView.h"
#include "controls/KTDocumentView.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

namespace {

// A colour view on the document of a scroll area, as the window holds it.
class ColorViewTest : public testing::Test {
protected:
    ColorViewTest() {
        area.resize(300, 160);
        area.setWidget(document); // before the colour view goes on it, as in a window
        document->resize(600, 120);
        colorView = new KTColorView(document);
        colorView->setGeometry(0, 0, 600, 120);
        document->setColorView(colorView);
        area.show();
    }

    QScrollArea area;
    KTDocumentView* document = new KTDocumentView;
    KTColorView* colorView = nullptr;
};

TEST_F(ColorViewTest, TenWheelEventsWidenTheDocumentByAThousandPoints) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&area));
    for (int i = 0; i < 10; ++i) {
        QWheelEvent wheel(QPointF(50, 50), colorView->mapToGlobal(QPointF(50, 50)), QPoint(),
                          QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(colorView, &wheel);
    }
    EXPECT_EQ(document->width(), 1600);
    EXPECT_EQ(area.horizontalScrollBar()->value(), 0) << "the wheel must not scroll as well";
    EXPECT_EQ(document->colorView(), colorView);
}

} // namespace
