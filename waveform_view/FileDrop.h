#pragma once

// The drop target of both waveform views: which drags they accept and what a drop hands
// over. One audio or video file is accepted; two or more, or a file of another kind, are
// refused at entry. The kind is told by the file's name: the answer is given on the GUI
// thread while the drag hovers, and reading a file on a share that stopped answering would
// freeze the window; the open that follows the drop reads it off that thread. A drag that
// carries no file names is accepted, and its drop hands over nothing. Each step is logged,
// one line each, for diagnosis.
//
// Thread contract: the GUI thread, from the views' drag and drop handlers.

#include <QString>

class QDragEnterEvent;
class QDropEvent;

namespace waveform_view {

// Answers a drag entering a view (accepted as a copy, or ignored). Returns whether it was
// accepted, in which case the view animates its drop zone while the drag hovers. The answer
// holds while the drag stays over the view. The file itself is never touched.
bool answerDragEnter(QDragEnterEvent* event);

// Answers a drop as a copy. Returns the dropped file's path, or an empty string when the
// drag carried no file names.
QString answerDrop(QDropEvent* event);

} // namespace waveform_view
