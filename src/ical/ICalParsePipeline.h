#pragma once

// INTERNAL to src/ical: the components of a sliced text parsed on a worker
// thread while the caller reads the ones parsed already. The .cpp files that
// use it include <libical/ical.h>.

#include <QFuture>
#include <QThreadPool>
#include <deque>

#include "ical/ICalSlicer.h"

typedef struct icalcomponent_impl icalcomponent;

// Parses the components of the slicer's text a slice at a time, in text
// order, on one worker thread of its own, at most a few slices ahead of the
// caller, so that the parsed text never sits in memory whole. The worker
// touches nothing but the slicer's text and the components it makes; the
// caller takes each component once it is parsed. Main thread (or any one
// thread) only.
class ICalParsePipeline {
public:
    // Starts parsing at once.
    explicit ICalParsePipeline(ICalSlicer slicer);
    // Waits for the worker and frees every component not taken.
    ~ICalParsePipeline();
    ICalParsePipeline(const ICalParsePipeline &) = delete;
    ICalParsePipeline &operator=(const ICalParsePipeline &) = delete;

    // All the components, taken or not.
    qsizetype componentCount() const { return m_slicer.componentCount(); }
    // The next component in text order, parsed and belonging to no other
    // component; the caller owns it (icalcomponent_free). Waits while the
    // worker parses it. nullptr once every component was taken.
    icalcomponent *takeNext();
    // Hands back a component taken and read: it is freed on the worker, with
    // the others of its slice, in the memory it was parsed into and off the
    // caller's way.
    void dispose(icalcomponent *component);

private:
    struct Slice {
        QFuture<icalcomponent *> parsed;
        qsizetype count = 0;
    };
    void startSlice();

    const ICalSlicer m_slicer;
    QThreadPool m_worker;
    std::deque<Slice> m_slices;  // started, oldest first
    qsizetype m_started = 0;     // components handed to the worker
    // The slice being taken from: the component itself when the slice held
    // one, else the parser's container of them.
    icalcomponent *m_current = nullptr;
    qsizetype m_currentLeft = 0;
    bool m_container = false;
    // The components handed back since the current slice began.
    icalcomponent *m_disposed = nullptr;
};
