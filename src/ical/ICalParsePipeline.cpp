#include "ical/ICalParsePipeline.h"

#include <libical/ical.h>

#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <stdexcept>
#include <utility>

namespace {

// The first slice is small, so that reading starts soon; the others are
// large enough that handing each over costs next to nothing, and small
// enough that the slices ahead of the reader stay a few megabytes.
constexpr qsizetype kPipelineFirstSlice = 64;
constexpr qsizetype kPipelineSlice = 512;
constexpr size_t kPipelineSlicesAhead = 3;

// Runs on the worker. What the library keeps between calls is safe to use
// from two threads at once: the parser's state is in its own object, the
// error number and the temporary text buffers are kept per thread, and the
// builtin zones (which a parse does not touch) are locked. The one shared
// setting a parse writes is the state of the malformed-data error, which it
// sets to "non-fatal" while it runs and then restores; ICalParsePipeline
// sets it to "non-fatal" for good before the first slice, so that every
// parse, here or on the reading thread, only ever writes the value already
// there.
icalcomponent *parsePipelineSlice(const ICalSlicer *slicer, qsizetype first, qsizetype count) {
    const QByteArray text = slicer->componentsText(first, count);
    return icalparser_parse_string(text.constData());
}

}  // namespace

ICalParsePipeline::ICalParsePipeline(ICalSlicer slicer) : m_slicer(std::move(slicer)) {
    icalerror_set_error_state(ICAL_MALFORMEDDATA_ERROR, ICAL_ERROR_NONFATAL);
    m_worker.setMaxThreadCount(1);  // slices are parsed one after the other, in order
    while (m_slices.size() < kPipelineSlicesAhead && m_started < componentCount())
        startSlice();
}

ICalParsePipeline::~ICalParsePipeline() {
    for (Slice &slice : m_slices) {
        try {
            icalcomponent_free(slice.parsed.result());
        } catch (...) {  // the worker ran out of memory: nothing to free
        }
    }
    if (m_current)
        icalcomponent_free(m_current);
    if (m_disposed)
        icalcomponent_free(m_disposed);
}

void ICalParsePipeline::startSlice() {
    const qsizetype count = std::min(m_started == 0 ? kPipelineFirstSlice : kPipelineSlice,
                                     componentCount() - m_started);
    m_slices.push_back(
        {QtConcurrent::run(&m_worker, parsePipelineSlice, &m_slicer, m_started, count), count});
    m_started += count;
}

icalcomponent *ICalParsePipeline::takeNext() {
    if (m_currentLeft == 0) {
        if (m_current)
            icalcomponent_free(m_current);  // the emptied container
        m_current = nullptr;
        if (m_disposed)
            m_worker.start(
                [disposed = std::exchange(m_disposed, nullptr)] { icalcomponent_free(disposed); });
        if (m_slices.empty())
            return nullptr;
        const Slice slice = m_slices.front();
        m_slices.pop_front();
        if (m_started < componentCount())
            startSlice();
        m_current = slice.parsed.result();
        m_currentLeft = slice.count;
        m_container = slice.count > 1;
        // A slice of cleanly nested components parses into exactly as many.
        const bool whole =
            slice.count == 1
                ? m_current != nullptr
                : m_current && icalcomponent_isa(m_current) == ICAL_XROOT_COMPONENT &&
                      icalcomponent_count_components(m_current, ICAL_ANY_COMPONENT) == slice.count;
        if (!whole)
            throw std::logic_error("ICalParsePipeline: a slice did not parse into its components");
    }
    --m_currentLeft;
    if (!m_container)
        return std::exchange(m_current, nullptr);
    icalcomponent *component = icalcomponent_get_first_component(m_current, ICAL_ANY_COMPONENT);
    icalcomponent_remove_component(m_current, component);
    return component;
}

void ICalParsePipeline::dispose(icalcomponent *component) {
    if (!m_disposed)
        m_disposed = icalcomponent_new(ICAL_XROOT_COMPONENT);
    icalcomponent_add_component(m_disposed, component);
}
