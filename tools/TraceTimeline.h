// A Trace Event file as a timeline, and the timeline as an SVG picture.
//
// Read: the "traceEvents" array (or a bare array of events). Complete events
// ("ph":"X", with "ts" and "dur" in microseconds) become bars, instant events
// ("i", "I") marks, and "thread_name" metadata ("M") names the lanes; lanes
// are threads, told apart by "pid" and "tid". Flows, counters and other
// phases are counted but not drawn.
#ifndef TEVROL_TOOLS_TRACETIMELINE_H
#define TEVROL_TOOLS_TRACETIMELINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "TraceJson.h"

struct TraceSlice {
  std::string name;
  std::string category;
  double start = 0;     // microseconds
  double duration = 0;  // microseconds
  int depth = 0;        // 0 for the outermost; set by LayOut
};

struct TraceMark {
  std::string name;
  double at = 0;
};

struct TraceLane {
  double pid = 0;
  double tid = 0;
  std::string name;  // from the metadata, else "thread <tid>"
  std::vector<TraceSlice> slices;
  std::vector<TraceMark> marks;
  int rows = 1;  // set by LayOut
};

struct Timeline {
  std::vector<TraceLane> lanes;  // by pid, then tid
  double begin = 0;              // the earliest start, microseconds
  double end = 0;                // the latest end
  std::size_t slices = 0;
  std::size_t notDrawn = 0;  // events of other phases
};

// False with `error` naming the event ("event 12: ...") when the document is
// not a trace: a required field missing or of the wrong type, a time out of
// range. Lays the lanes out (LayOut) on success.
bool ReadTimeline(JsonDocument const& document, Timeline& timeline, std::string& error);

// Nesting within each lane: a slice that starts inside another is drawn one
// row below it (a Tick inside its Execute); rows are capped at kMaxRows.
constexpr int kMaxRows = 16;
void LayOut(Timeline& timeline);

struct SvgOptions {
  std::string title;          // shown at the top
  double longMicros = 50000;  // bars longer than this are marked
};

std::string WriteSvg(Timeline const& timeline, SvgOptions const& options);

// Text for XML content and attribute values: the five special characters as
// entities, characters XML 1.0 does not allow as U+FFFD; cut to at most
// `maxCharacters` characters (then ending in "..."). `text` is UTF-8.
std::string XmlText(std::string const& text, std::size_t maxCharacters = 200);

#endif
