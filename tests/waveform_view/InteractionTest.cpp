// The view's mouse, wheel and pinch input, driven with Qt Test's events on a shown view:
// what each press grabs and which messages reach the delegate in which order, the clamps
// and repairs of each drag, scrolling while the button is held at an edge, zoom steps and
// their accumulators, and the open hand over the grips.

#include "tests/support/Labelled.h"
#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QApplication>
#include <QCursor>
#include <QDialog>
#include <QMenu>
#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QSpontaneKeyEvent>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using waveform_view_test::makeWaveform;
using waveform_view_test::ViewWindow;

namespace {

// 600,000 frames over a 600-pixel area: 1000 frames a pixel, frame = (x - 25) * 1000.
// The range [100000, 300000) lies on pixels [125, 325); the start grip covers [108, 124)
// and the end grip [325, 341).
constexpr std::int32_t kFrames = 600000;
constexpr int kY = 100;

// Writes the messages down in the order they arrive, "; " between them.
class RecordingDelegate : public KTFixedWaveformViewDelegate {
public:
    void waveformViewDidDragPlayheadToFrame(KTFixedWaveformView*, std::int32_t frame) override {
        add("drag " + std::to_string(frame));
    }
    void waveformViewDidChangeCurrentFrame(KTFixedWaveformView*, std::int32_t frame) override {
        add("current " + std::to_string(frame));
    }
    void waveformViewWillChangeRange(KTFixedWaveformView*) override { add("will change"); }
    void waveformViewDidDoubleClickFrame(KTFixedWaveformView*, std::int32_t frame) override {
        add("double-click " + std::to_string(frame));
    }
    void waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView*, std::int32_t start,
                                                      std::int32_t end) override {
        add("range " + std::to_string(start) + " " + std::to_string(end));
    }
    // What arrived since the last call.
    std::string take() { return std::exchange(messages, {}); }
    void add(const std::string& message) { messages += (messages.empty() ? "" : "; ") + message; }
    std::string messages;
};

class InteractionTest : public testing::Test {
protected:
    void SetUp() override {
        view().setWaveform(makeWaveform(kFrames, 0.25f));
        view().setRangeStartFrame(100000);
        view().setRangeEndFrame(300000);
        view().setDelegate(&delegate);
    }
    KTFixedWaveformView& view() { return window.view(); }
    // Positions are document x; the view sits over the scrolled-to part of the document.
    QPoint at(double documentX, int y = kY) const {
        return QPoint(static_cast<int>(documentX) - window.scrollX(), y);
    }
    void press(double x, Qt::KeyboardModifiers keys = {}) {
        QTest::mousePress(&view(), Qt::LeftButton, keys, at(x));
    }
    void move(double x, int y = kY) { QTest::mouseMove(&view(), at(x, y)); }
    void release(double x) { QTest::mouseRelease(&view(), Qt::LeftButton, {}, at(x)); }
    // A move with no button held.
    void hover(double x) {
        QMouseEvent event(QEvent::MouseMove, at(x), view().mapToGlobal(at(x)), Qt::NoButton,
                          Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(&view(), &event);
    }
    static bool showsHand() {
        const QCursor* cursor = QGuiApplication::overrideCursor();
        return cursor && cursor->shape() == Qt::OpenHandCursor;
    }
    // Empties the cursor stack and says how many were on it.
    static int pushedCursors() {
        int count = 0;
        for (; QGuiApplication::overrideCursor(); ++count)
            QGuiApplication::restoreOverrideCursor();
        return count;
    }

    // Declared first so that it outlives the view.
    RecordingDelegate delegate;
    ViewWindow window{650, 200};
};

// A press, then its release without movement.

struct PressCase : test_support::Labelled {
    double x;
    bool shift;
    std::int32_t playheadAfterPress;
    const char* atPress;
    const char* atRelease;
};

class PressCases : public InteractionTest, public testing::WithParamInterface<PressCase> {};

TEST_P(PressCases, GrabTheRightThingAndReportInOrder) {
    const PressCase& c = GetParam();
    view().setPlayheadFrame(200000);
    press(c.x, c.shift ? Qt::ShiftModifier : Qt::NoModifier);
    EXPECT_EQ(delegate.take(), c.atPress);
    EXPECT_EQ(view().playheadFrame(), c.playheadAfterPress);
    release(c.x);
    EXPECT_EQ(delegate.take(), c.atRelease);
}

INSTANTIATE_TEST_SUITE_P(
    , PressCases,
    testing::Values(
        // Shift wins even on a grip; the new range is one frame long.
        PressCase{"ShiftOnTheEndGrip", 330, true, 305000, "will change; drag 305000",
                  "range 305000 305001"},
        // A click on a grip edits nothing but still reports the range, without a "will".
        PressCase{"StartGripFirstPixel", 108, false, 200000, "", "range 100000 300000"},
        PressCase{"OneLeftOfTheRangeStart", 124, false, 200000, "", ""},
        PressCase{"EndGripOnTheRangeEndPixel", 325, false, 200000, "", "range 100000 300000"},
        PressCase{"RightOfTheEndGrip", 341, false, 200000, "", ""},
        // The body moves the playhead at once and tells the player only at release.
        PressCase{"BodyFirstPixel", 125, false, 100000, "", "current 100000"},
        PressCase{"BodyLastPixel", 324, false, 299000, "", "current 299000"}),
    test_support::byLabel);

// A grip pressed at one x and dragged to another.

struct GripDragCase : test_support::Labelled {
    double pressX;
    double dragX;
    std::int32_t start;
    std::int32_t end;
    const char* whileDragging;
};

class GripDrags : public InteractionTest, public testing::WithParamInterface<GripDragCase> {};

TEST_P(GripDrags, ClampAndRepairTheRangeAndTakeThePlayheadToItsStart) {
    const GripDragCase& c = GetParam();
    view().setPlayheadFrame(200000);
    press(c.pressX);
    move(c.dragX);
    EXPECT_EQ(delegate.take(), c.whileDragging);
    // Playback positions are dropped while a grip is held.
    view().setPlayheadFrame(1000);
    release(c.dragX);
    EXPECT_EQ(view().playheadFrame(), c.start);
    EXPECT_EQ(delegate.take(), "range " + std::to_string(c.start) + " " + std::to_string(c.end));
}

INSTANTIATE_TEST_SUITE_P(
    , GripDrags,
    testing::Values(
        // Grabbed 9 pixels left of the range start, the start keeps that distance.
        GripDragCase{"StartPushesTheEndAlong", 116, 500, 484000, 484001,
                     "drag 484000; will change"},
        GripDragCase{"StartStopsBeforeTheFileEnd", 116, 649, kFrames - 1, kFrames,
                     "drag 599999; will change"},
        GripDragCase{"EndPullsTheStartAlong", 330, 60, 29999, 30000, "drag 29999; will change"},
        GripDragCase{"EndStopsAtTheFileEnd", 330, 649, 100000, kFrames, "drag 100000; will change"},
        // Landing exactly on the start is no inversion: the range is left empty.
        GripDragCase{"EndOntoTheStartLeavesItEmpty", 325, 125, 100000, 100000,
                     "drag 100000; will change"}),
    test_support::byLabel);

TEST_F(InteractionTest, PlayheadDragStaysInTheRangeAPixelShortOfItsEnd) {
    // 1000.8333 frames a pixel, so the last place is a fraction, truncated.
    view().setWaveform(makeWaveform(600500, 0.25f));
    view().setRangeStartFrame(100000);
    view().setRangeEndFrame(300000);
    press(200);
    move(600);
    EXPECT_EQ(view().playheadFrame(), 298999);
    move(30);
    move(175);
    view().setPlayheadFrame(5); // dropped while the playhead is held
    release(175);
    EXPECT_EQ(delegate.take(), "drag 298999; drag 100000; drag 150125; current 150125");
}

TEST_F(InteractionTest, ShiftRangeTakesItsDirectionFromTheFirstSidewaysMove) {
    press(300, Qt::ShiftModifier);
    move(300, kY + 10); // purely vertical: no direction yet
    move(310);          // rightward: the end will follow, nothing moves yet
    EXPECT_EQ(view().rangeEndFrame(), 275001);
    move(450);
    EXPECT_EQ(view().rangeEndFrame(), 425000);
    move(200); // back past the start, which is pulled to one before the end
    release(200);
    EXPECT_EQ(delegate.take(), "will change; drag 275000; drag 174999; range 174999 175000");
}

// With the beat grid showing (a beat every 50 pixels, on x 25, 75, ... 325, 375, ...), a
// range edge drawn or dragged within 6 pixels of a beat lands on it; Alt held, or the grid
// hidden, it goes where the pointer is.

struct SnapCase : test_support::Labelled {
    double pressX, dragX;
    Qt::KeyboardModifiers keys;
    bool gridShown;
    std::int32_t start, end;
};

class Snapping : public InteractionTest, public testing::WithParamInterface<SnapCase> {};

TEST_P(Snapping, EdgesLandOnABeatNearby) {
    const SnapCase& c = GetParam();
    waveform_view::BeatMarks marks;
    for (int beat = 0; beat < 12; ++beat)
        marks.push_back({beat * 50000, beat / 4 + 1, beat % 4 == 0});
    view().setBeatMarks(marks);
    view().setShowsBeatGrid(c.gridShown);
    press(c.pressX, c.keys);
    for (const double x : {c.pressX + 1, c.dragX}) {
        QMouseEvent moved(QEvent::MouseMove, at(x), view().mapToGlobal(at(x)), Qt::LeftButton,
                          Qt::LeftButton, c.keys);
        QApplication::sendEvent(&view(), &moved);
    }
    release(c.dragX);
    EXPECT_EQ(view().rangeStartFrame(), c.start);
    EXPECT_EQ(view().rangeEndFrame(), c.end);
}

INSTANTIATE_TEST_SUITE_P(
    , Snapping,
    testing::Values(
        SnapCase{"ShiftDragSnapsBothEnds", 329, 470, Qt::ShiftModifier, true, 300000, 450000},
        SnapCase{"AltTurnsSnappingOff", 329, 470, Qt::ShiftModifier | Qt::AltModifier, true, 304000,
                 445000},
        SnapCase{"HiddenGridDoesNotSnap", 329, 470, Qt::ShiftModifier, false, 304000, 445000},
        SnapCase{"FarFromABeatStaysPut", 310, 400, Qt::ShiftModifier, true, 285000, 375000},
        // The end grip, grabbed 5 pixels past the range end, keeps that distance.
        SnapCase{"EndGripSnaps", 330, 428, {}, true, 100000, 400000},
        SnapCase{"EndGripBeyondSixPixelsDoesNot", 330, 422, {}, true, 100000, 392000}),
    test_support::byLabel);

// A double-click picks out its frame for the delegate while the grid shows; without a
// grid it is a second press in the range body, as ever.
TEST_F(InteractionTest, ADoubleClickNamesItsFrameOnlyWhileTheGridShows) {
    // As the window system sends one: press, release, double-click, release.
    const auto doubleClick = [&](double x) {
        press(x);
        release(x);
        QMouseEvent event(QEvent::MouseButtonDblClick, at(x), view().mapToGlobal(at(x)),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&view(), &event);
        release(x);
    };
    doubleClick(200);
    EXPECT_EQ(delegate.take(), "current 175000; current 175000");
    view().setBeatMarks({{100000, 1, true}, {150000, 1, false}});
    doubleClick(400);
    EXPECT_EQ(delegate.take(), "double-click 375000");
}

// Scrolling while the button is held at an edge.

struct EdgeCase : test_support::Labelled {
    int viewportX; // where the pointer is held, in the scroll area
    int direction;
};

class HeldAtAnEdge : public InteractionTest, public testing::WithParamInterface<EdgeCase> {};

TEST_P(HeldAtAnEdge, KeepsScrollingEveryTickWithThePlayheadUnderThePointer) {
    const EdgeCase& c = GetParam();
    for (int step = 0; step < 4; ++step) // about five times the window
        view().zoomIn();
    view().setRangeStartFrame(0);
    view().setRangeEndFrame(kFrames);
    window.userScrollTo(1500);
    QTest::mousePress(&view(), Qt::LeftButton, {}, QPoint(325, kY));
    QTest::mouseMove(&view(), QPoint(c.viewportX, kY));
    const int scrollAfterMove = window.scrollX();
    QTest::qWait(340); // held still for several ticks
    EXPECT_GT((window.scrollX() - scrollAfterMove) * c.direction, 3);
    // Each tick takes the frame under the pointer, then scrolls on by less than 80 pixels.
    EXPECT_NEAR(view().playheadPixel(), c.viewportX + window.scrollX(), 80.0);
    QTest::mouseRelease(&view(), Qt::LeftButton, {}, QPoint(c.viewportX, kY));
    const int scrollAtRelease = window.scrollX();
    QTest::qWait(150);
    EXPECT_EQ(window.scrollX(), scrollAtRelease);
}

INSTANTIATE_TEST_SUITE_P(, HeldAtAnEdge,
                         testing::Values(EdgeCase{"BeyondTheRightEdge", 700, 1},
                                         EdgeCase{"InTheLeftBand", 5, -1}),
                         test_support::byLabel);

// A held button whose release never reaches the view: a shortcut opened a modal dialog, the
// window lost activation, or the button went up while something else had the pointer. The
// drag ends as if released where the pointer last was, at or beyond the right edge here.

enum class LostRelease { ModalDialog, PopupMenu, WindowDeactivated, MoveWithoutButton };

struct LostReleaseCase : test_support::Labelled {
    double pressX;
    bool shift;
    double dragX;
    LostRelease how;
    const char* atTheEnd;
};

class LostReleases : public InteractionTest, public testing::WithParamInterface<LostReleaseCase> {};

TEST_P(LostReleases, EndTheDragWhereThePointerWas) {
    const LostReleaseCase& c = GetParam();
    hover(c.pressX); // the hand shows over a grip
    press(c.pressX, c.shift ? Qt::ShiftModifier : Qt::NoModifier);
    move(c.dragX - 10);
    move(c.dragX);
    delegate.take();
    switch (c.how) {
    case LostRelease::ModalDialog: {
        QDialog dialog(&window.scrollArea());
        dialog.setModal(true);
        dialog.show();
        QTest::qWait(20);
        break;
    }
    case LostRelease::PopupMenu: {
        QMenu menu;
        menu.addAction(QStringLiteral("Open"));
        menu.popup(view().mapToGlobal(QPoint(50, 50)));
        QTest::qWait(3 * KTFixedWaveformView::kAutoscrollIntervalMs);
        break;
    }
    case LostRelease::WindowDeactivated: {
        QEvent deactivate(QEvent::WindowDeactivate);
        QApplication::sendEvent(&window.scrollArea(), &deactivate);
        break;
    }
    case LostRelease::MoveWithoutButton:
        hover(c.dragX - 100);
        break;
    }
    EXPECT_EQ(delegate.take(), c.atTheEnd);
    EXPECT_FALSE(view().isDragging());
    EXPECT_EQ(pushedCursors(), 0);
    view().setPlayheadFrame(1000); // the player's reports are taken again
    EXPECT_EQ(view().playheadFrame(), 1000);
    QTest::qWait(120); // no tick of the edge timer, and moves or a late release edit nothing
    hover(c.dragX - 200);
    QTest::mouseRelease(&view(), Qt::LeftButton, {}, at(c.dragX - 200));
    EXPECT_EQ(delegate.take(), "");
    EXPECT_EQ(view().playheadFrame(), 1000);
}

INSTANTIATE_TEST_SUITE_P(
    , LostReleases,
    testing::Values(LostReleaseCase{"GripWhenAModalDialogOpens", 330, false, 660,
                                    LostRelease::ModalDialog, "range 100000 600000"},
                    LostReleaseCase{"ShiftRangeWhenAPopupMenuOpens", 300, true, 450,
                                    LostRelease::PopupMenu, "range 275000 425000"},
                    LostReleaseCase{"PlayheadWhenTheWindowIsDeactivated", 200, false, 650,
                                    LostRelease::WindowDeactivated, "current 299000"},
                    LostReleaseCase{"ShiftRangeWhenAMoveComesWithoutTheButton", 300, true, 450,
                                    LostRelease::MoveWithoutButton, "range 275000 425000"}),
    test_support::byLabel);

// The wheel and the two-finger gesture.

struct Wheel {
    Qt::ScrollPhase phase;
    int dx;
    int dy;
    bool pointsOnly = false;
};

std::vector<Wheel> times(int count, const Wheel& wheel) {
    return std::vector<Wheel>(static_cast<std::size_t>(count), wheel);
}

// Sent as the window system's own, so that QApplication passes on what the view ignores.
void sendWheel(QWidget* widget, const Wheel& wheel) {
    const QPointF position(200.0, kY);
    // A trackpad reports points and, for those who read only angles, the same as angles; a
    // wheel reports only angles.
    const QPoint delta(wheel.dx, wheel.dy);
    const bool points = wheel.phase != Qt::NoScrollPhase || wheel.pointsOnly;
    QWheelEvent event(position, widget->mapToGlobal(position), points ? delta : QPoint(),
                      wheel.pointsOnly ? QPoint() : delta, Qt::NoButton, Qt::NoModifier,
                      wheel.phase, false);
    QSpontaneKeyEvent::setSpontaneous(&event);
    qApp->notify(widget, &event);
}

// Counts the wheel events that reach a widget, to see which ones the view passed on.
class WheelCounter : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Wheel;
        return false;
    }
    int count = 0;
};

struct WheelCase : test_support::Labelled {
    int zoomStepsBefore;
    std::vector<Wheel> events;
    int documentWidthAfter;
    bool lastPassedOn; // to the scroll area, which scrolls with it
};

class WheelZoom : public InteractionTest, public testing::WithParamInterface<WheelCase> {};

TEST_P(WheelZoom, StepsAsTheGestureDecides) {
    const WheelCase& c = GetParam();
    for (int step = 0; step < c.zoomStepsBefore; ++step)
        view().zoomIn();
    WheelCounter scrollArea;
    window.scrollArea().viewport()->installEventFilter(&scrollArea);
    int countBeforeLast = 0;
    for (const Wheel& wheel : c.events) {
        countBeforeLast = scrollArea.count;
        sendWheel(&view(), wheel);
    }
    EXPECT_EQ(view().documentView()->width(), c.documentWidthAfter);
    EXPECT_EQ(scrollArea.count > countBeforeLast, c.lastPassedOn);
}

constexpr auto kWheel = Qt::NoScrollPhase;
constexpr auto kBegin = Qt::ScrollBegin;
constexpr auto kUpdate = Qt::ScrollUpdate;
constexpr auto kEnd = Qt::ScrollEnd;

INSTANTIATE_TEST_SUITE_P(
    , WheelZoom,
    testing::Values(
        WheelCase{"WheelUpZoomsIn", 0, {{kWheel, 0, 120}}, 975, false},
        WheelCase{"SidewaysWheelScrolls", 1, {{kWheel, 120, 0}}, 975, true},
        // Without phases (X11) a high-resolution wheel or a trackpad sends small events;
        // they add up, a step per 120 units of angle or 20 points, as far as notches go.
        WheelCase{"SmallWheelEventsAddUpToAStepPer120", 0, times(15, {kWheel, 0, 16}), 1462, false},
        WheelCase{"SmallWheelEventsDownZoomOut", 2, times(8, {kWheel, 0, -15}), 974, false},
        WheelCase{"PointsWithoutPhasesAddUpToAStepPer20", 0, times(4, {kWheel, 0, 10, true}), 1462,
                  false},
        // 15, 25, 45 points: a step at each 20 passed.
        WheelCase{"GestureZoomsAStepPer20Points",
                  0,
                  {{kBegin, 0, 0}, {kUpdate, 0, 15}, {kUpdate, 0, 10}, {kUpdate, 0, 20}},
                  1462,
                  false},
        WheelCase{"GestureBackDownZoomsOut",
                  0,
                  {{kBegin, 0, 0}, {kUpdate, 0, 25}, {kUpdate, 0, -10}},
                  650,
                  false},
        WheelCase{"GestureWaveringAboutItsStartNeverZooms",
                  0,
                  {{kBegin, 0, 0}, {kUpdate, 0, 19}, {kUpdate, 0, -38}, {kUpdate, 0, 38}},
                  650,
                  false},
        WheelCase{"GestureStartingSidewaysNeverZooms",
                  1,
                  {{kBegin, 2, 0}, {kUpdate, 0, 40}, {kUpdate, 0, 40}, {kEnd, 0, 0}},
                  975,
                  true},
        WheelCase{"MomentumAfterTheZoomGestureIsPassedOn",
                  0,
                  {{kBegin, 0, 0}, {kUpdate, 0, 20}, {kEnd, 0, 0}, {Qt::ScrollMomentum, 0, 10}},
                  975,
                  true}),
    test_support::byLabel);

TEST_F(InteractionTest, ZoomStopsAtTheDeepestZoomAndAtTheScrollAreaWidth) {
    for (int step = 0; step < 40; ++step)
        sendWheel(&view(), {kWheel, 0, 120});
    EXPECT_LE(view().framesPerPixel(), KTFixedWaveformView::kDeepestFramesPerPixel);
    EXPECT_GT(view().framesPerPixel() * KTFixedWaveformView::kZoomFactor,
              KTFixedWaveformView::kDeepestFramesPerPixel);
    for (int step = 0; step < 40; ++step)
        sendWheel(&view(), {kWheel, 0, -120});
    EXPECT_EQ(view().documentView()->width(), 650);
}

// The pinch: a step per quarter of magnification, truncated toward zero.

struct PinchCase : test_support::Labelled {
    std::vector<std::pair<Qt::NativeGestureType, double>> events;
    int documentWidthAfter;
};

class Pinch : public InteractionTest, public testing::WithParamInterface<PinchCase> {};

TEST_P(Pinch, StepsPerQuarter) {
    const QPointF position(200.0, kY);
    for (const auto& [type, value] : GetParam().events) {
        QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2, position,
                                  position, view().mapToGlobal(position), value, QPointF());
        QApplication::sendEvent(&view(), &event);
    }
    EXPECT_EQ(view().documentView()->width(), GetParam().documentWidthAfter);
}

constexpr auto kPinchBegin = Qt::BeginNativeGesture;
constexpr auto kPinch = Qt::ZoomNativeGesture;

INSTANTIATE_TEST_SUITE_P(
    , Pinch,
    testing::Values(
        PinchCase{"QuarterZoomsIn", {{kPinchBegin, 0}, {kPinch, 0.125}, {kPinch, 0.125}}, 975},
        PinchCase{
            "BackBelowTheStepZoomsOut", {{kPinchBegin, 0}, {kPinch, 0.3}, {kPinch, -0.1}}, 650},
        PinchCase{"WaveringNeverZooms",
                  {{kPinchBegin, 0}, {kPinch, 0.2}, {kPinch, -0.4}, {kPinch, 0.4}},
                  650},
        PinchCase{"EachGestureStartsFromNothing",
                  {{kPinchBegin, 0}, {kPinch, 0.2}, {kPinchBegin, 0}, {kPinch, 0.2}},
                  650}),
    test_support::byLabel);

// The open hand over the grips.

class HandCursor : public InteractionTest {};

TEST_F(HandCursor, ShowsOverEitherGripOnlyAndStaysWhileOneIsDragged) {
    hover(110);
    EXPECT_TRUE(showsHand());
    hover(124);
    EXPECT_FALSE(showsHand());
    hover(330);
    press(330);
    move(500);
    EXPECT_TRUE(showsHand());
    release(500); // the grip came along under the pointer
    EXPECT_TRUE(showsHand());
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(&view(), &leave);
    EXPECT_EQ(pushedCursors(), 0);
}

// Without a file there is nothing to grab, and a file replaced during a drag ends it.

TEST(InteractionWithoutWaveform, PressDragAndReleaseDoNothing) {
    RecordingDelegate delegate;
    ViewWindow window(650, 200);
    window.view().setDelegate(&delegate);
    for (const Qt::KeyboardModifiers keys : {Qt::ShiftModifier, Qt::NoModifier}) {
        QTest::mousePress(&window.view(), Qt::LeftButton, keys, QPoint(25, kY));
        QTest::mouseMove(&window.view(), QPoint(400, kY));
        QTest::mouseRelease(&window.view(), Qt::LeftButton, {}, QPoint(400, kY));
    }
    EXPECT_EQ(delegate.messages, "");
    EXPECT_EQ(window.view().rangeEndFrame(), 0);
}

TEST_F(InteractionTest, NewFileDuringADragEndsItWithoutAMessage) {
    press(200);
    view().setWaveform(nullptr);
    move(300);
    QTest::qWait(120); // a tick of the edge timer, had it gone on
    release(300);
    EXPECT_EQ(delegate.take(), "");
    EXPECT_FALSE(view().isDragging());
}

} // namespace
