#include "TraceTimeline.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

namespace {

using Index = JsonDocument::Index;

// Times beyond about 30 years in microseconds are not a trace of this world,
// and would lose their microseconds in a double.
constexpr double kMaxMicros = 1e15;
// Thread and process ids: integers a double holds exactly.
constexpr double kMaxId = 9007199254740992.0;  // 2^53

std::string Describe(std::size_t event, char const* what) {
  return "event " + std::to_string(event) + ": " + what;
}

// A member that must be text when it is there; false when it is something else.
bool OptionalText(JsonDocument const& doc, Index event, char const* key, std::string& out,
                  bool& present) {
  const Index member = doc.Member(event, key);
  present = member != JsonDocument::kNone;
  if (!present) return true;
  if (!doc.Is(member, JsonType::String)) return false;
  out = std::string(doc.Text(member));
  return true;
}

bool Time(JsonDocument const& doc, Index event, char const* key, double& out) {
  const Index member = doc.Member(event, key);
  if (!doc.Is(member, JsonType::Number)) return false;
  out = doc.Number(member);
  return out >= 0 && out <= kMaxMicros;
}

bool Id(JsonDocument const& doc, Index event, char const* key, double& out) {
  const Index member = doc.Member(event, key);
  out = 0;
  if (member == JsonDocument::kNone) return true;
  if (!doc.Is(member, JsonType::Number)) return false;
  out = doc.Number(member) + 0.0;  // no -0
  return std::fabs(out) <= kMaxId && std::floor(out) == out;
}

class Reader {
 public:
  Reader(JsonDocument const& doc, Timeline& timeline) : m_doc(doc), m_timeline(timeline) {}

  bool Run(std::string& error) {
    Index events = JsonDocument::kRoot;
    if (m_doc.Size() == 0) {
      error = "no document";
      return false;
    }
    if (m_doc.Is(events, JsonType::Object)) events = m_doc.Member(events, "traceEvents");
    if (!m_doc.Is(events, JsonType::Array)) {
      error = "neither a \"traceEvents\" array nor an array of events";
      return false;
    }
    std::size_t number = 0;
    for (Index event = m_doc.First(events); event != JsonDocument::kNone;
         event = m_doc.Next(event), ++number) {
      if (!Event(event, number, error)) return false;
    }
    Finish();
    return true;
  }

 private:
  TraceLane& Lane(double pid, double tid) {
    const auto found = m_lanes.find({pid, tid});
    if (found != m_lanes.end()) return m_timeline.lanes[found->second];
    m_lanes.emplace(std::make_pair(pid, tid), m_timeline.lanes.size());
    m_timeline.lanes.emplace_back();
    m_timeline.lanes.back().pid = pid;
    m_timeline.lanes.back().tid = tid;
    return m_timeline.lanes.back();
  }

  void Extend(double from, double to) {
    if (!m_any || from < m_timeline.begin) m_timeline.begin = from;
    if (!m_any || to > m_timeline.end) m_timeline.end = to;
    m_any = true;
  }

  bool Event(Index event, std::size_t number, std::string& error) {
    if (!m_doc.Is(event, JsonType::Object)) {
      error = Describe(number, "not an object");
      return false;
    }
    const Index ph = m_doc.Member(event, "ph");
    if (!m_doc.Is(ph, JsonType::String)) {
      error = Describe(number, "no \"ph\" text");
      return false;
    }
    const std::string_view phase = m_doc.Text(ph);
    double pid = 0, tid = 0;
    if (!Id(m_doc, event, "pid", pid) || !Id(m_doc, event, "tid", tid)) {
      error = Describe(number, "\"pid\" or \"tid\" is not a whole number");
      return false;
    }
    std::string name;
    bool hasName = false;
    if (!OptionalText(m_doc, event, "name", name, hasName)) {
      error = Describe(number, "\"name\" is not text");
      return false;
    }
    const bool drawn = phase == "X" || phase == "i" || phase == "I";
    if (drawn && !hasName) {
      error = Describe(number, "no \"name\"");
      return false;
    }
    double ts = 0;
    if (drawn && !Time(m_doc, event, "ts", ts)) {
      error = Describe(number, "\"ts\" is missing or not a time from 0 to 1e15 microseconds");
      return false;
    }
    if (phase == "X") {
      TraceSlice slice;
      bool hasCategory = false;
      if (!OptionalText(m_doc, event, "cat", slice.category, hasCategory)) {
        error = Describe(number, "\"cat\" is not text");
        return false;
      }
      if (!Time(m_doc, event, "dur", slice.duration)) {
        error = Describe(number, "\"dur\" is missing or not a time from 0 to 1e15 microseconds");
        return false;
      }
      slice.name = std::move(name);
      slice.start = ts;
      Extend(ts, ts + slice.duration);
      Lane(pid, tid).slices.push_back(std::move(slice));
      ++m_timeline.slices;
    } else if (phase == "i" || phase == "I") {
      Extend(ts, ts);
      Lane(pid, tid).marks.push_back({std::move(name), ts});
    } else if (phase == "M" && name == "thread_name") {
      const Index args = m_doc.Member(event, "args");
      const Index label = m_doc.Member(args, "name");
      if (!m_doc.Is(label, JsonType::String)) {
        error = Describe(number, "thread_name without an \"args\" object with a \"name\" text");
        return false;
      }
      m_names[{pid, tid}] = std::string(m_doc.Text(label));
    } else if (phase != "M") {
      ++m_timeline.notDrawn;
    }
    return true;
  }

  // Names, order, and only the lanes that have something to show.
  void Finish() {
    bool onePid = true;
    for (TraceLane const& lane : m_timeline.lanes) {
      onePid = onePid && lane.pid == m_timeline.lanes.front().pid;
    }
    for (TraceLane& lane : m_timeline.lanes) {
      const auto named = m_names.find({lane.pid, lane.tid});
      char number[64];
      std::snprintf(number, sizeof number, "thread %.0f", lane.tid);
      lane.name = named != m_names.end() ? named->second : std::string(number);
      if (!onePid) {
        std::snprintf(number, sizeof number, "%.0f: ", lane.pid);
        lane.name = number + lane.name;
      }
    }
    std::sort(m_timeline.lanes.begin(), m_timeline.lanes.end(),
              [](TraceLane const& a, TraceLane const& b) {
                return a.pid != b.pid ? a.pid < b.pid : a.tid < b.tid;
              });
    LayOut(m_timeline);
  }

  JsonDocument const& m_doc;
  Timeline& m_timeline;
  std::map<std::pair<double, double>, std::size_t> m_lanes;
  std::map<std::pair<double, double>, std::string> m_names;
  bool m_any = false;
};

// printf onto the end of a string.
void Append(std::string& out, char const* format, ...) __attribute__((format(printf, 2, 3)));
void Append(std::string& out, char const* format, ...) {
  va_list args, again;
  va_start(args, format);
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  if (length > 0) {
    const std::size_t at = out.size();
    out.resize(at + static_cast<std::size_t>(length) + 1);
    std::vsnprintf(&out[at], static_cast<std::size_t>(length) + 1, format, again);
    out.resize(at + static_cast<std::size_t>(length));
  }
  va_end(again);
}

// 1, 2 or 5 times a power of ten, at least `raw`.
double NiceStep(double raw) {
  if (!(raw > 1)) return 1;
  const double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
    if (factor * power >= raw) return factor * power;
  }
  return 10 * power;
}

// A time in the unit that suits `step`, with just the decimals it needs.
std::string FormatTime(double micros, double step) {
  double unit = 1;
  char const* name = "\xC2\xB5s";  // µs
  if (step >= 1e6) {
    unit = 1e6;
    name = "s";
  } else if (step >= 1e3) {
    unit = 1e3;
    name = "ms";
  }
  const double scaled = step / unit;
  int decimals = 0;
  while (decimals < 6 && std::fabs(scaled * std::pow(10.0, decimals) -
                                   std::round(scaled * std::pow(10.0, decimals))) > 1e-6) {
    ++decimals;
  }
  std::string out;
  Append(out, "%.*f %s", decimals, micros / unit, name);
  return out;
}

std::string FormatDuration(double micros) {
  std::string out;
  if (micros >= 1e6) {
    Append(out, "%.2f s", micros / 1e6);
  } else if (micros >= 1e3) {
    Append(out, "%.1f ms", micros / 1e3);
  } else {
    Append(out, "%.0f \xC2\xB5s", micros);
  }
  return out;
}

// The class of a bar: only names of this file, never text of the trace.
char const* BarClass(std::string const& category) {
  static char const* const kKnown[] = {"Execute", "Dispose", "Tick", "Invoked"};
  for (char const* known : kKnown) {
    if (category == known) return known;
  }
  if (category == "hand-over") return "HandOver";
  return "Other";
}

constexpr double kLabelWidth = 190;
constexpr double kPlotWidth = 1000;
constexpr double kRightMargin = 40;
constexpr double kRowHeight = 16;
constexpr double kLanePadding = 6;
constexpr double kLanesTop = 76;
constexpr double kCharacterWidth = 6.2;  // about, at 10 px

}  // namespace

bool ReadTimeline(JsonDocument const& document, Timeline& timeline, std::string& error) {
  timeline = Timeline();
  return Reader(document, timeline).Run(error);
}

void LayOut(Timeline& timeline) {
  for (TraceLane& lane : timeline.lanes) {
    // By start, the longer first, so that it encloses the shorter. A slice
    // of no length at the start of another (a Dispose in the microsecond the
    // next Execute begins) comes first: it ends as the other begins.
    std::stable_sort(lane.slices.begin(), lane.slices.end(),
                     [](TraceSlice const& a, TraceSlice const& b) {
                       if (a.start != b.start) return a.start < b.start;
                       if ((a.duration == 0) != (b.duration == 0)) return a.duration == 0;
                       return a.duration > b.duration;
                     });
    std::vector<double> open;  // ends of the slices that enclose the next start
    lane.rows = 1;
    for (TraceSlice& slice : lane.slices) {
      while (!open.empty() && open.back() <= slice.start) open.pop_back();
      slice.depth = static_cast<int>(std::min<std::size_t>(open.size(), kMaxRows - 1));
      lane.rows = std::max(lane.rows, slice.depth + 1);
      open.push_back(slice.start + slice.duration);
    }
  }
}

std::string XmlText(std::string const& text, std::size_t maxCharacters) {
  std::string out;
  std::size_t characters = 0;
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
  };
  for (std::size_t i = 0; i < text.size();) {
    if (characters == maxCharacters) {
      out += "...";
      break;
    }
    ++characters;
    // Decode one character; anything that is not UTF-8 is one byte of U+FFFD.
    const unsigned lead = byte(i);
    std::uint32_t code = 0xFFFD;
    std::size_t length = 1;
    if (lead < 0x80) {
      code = lead;
    } else {
      std::size_t need = 0;
      std::uint32_t minimum = 0;
      if (lead >= 0xC2 && lead <= 0xDF) {
        need = 2, minimum = 0x80, code = lead & 0x1F;
      } else if (lead >= 0xE0 && lead <= 0xEF) {
        need = 3, minimum = 0x800, code = lead & 0x0F;
      } else if (lead >= 0xF0 && lead <= 0xF4) {
        need = 4, minimum = 0x10000, code = lead & 0x07;
      }
      bool good = need != 0;
      for (std::size_t k = 1; good && k < need; ++k) {
        good = (byte(i + k) & 0xC0) == 0x80;
        code = (code << 6) | (byte(i + k) & 0x3F);
      }
      good = good && code >= minimum && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF);
      if (good) {
        length = need;
      } else {
        code = 0xFFFD;
      }
    }
    // XML 1.0 allows no other controls, no U+FFFE or U+FFFF; line ends and
    // tabs become blanks, as a label has one line.
    if (code == '\t' || code == '\n' || code == '\r') {
      code = ' ';
    } else if (code < 0x20 || code == 0xFFFE || code == 0xFFFF) {
      code = 0xFFFD;
    }
    switch (code) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      case 0xFFFD:
        out += "\xEF\xBF\xBD";
        break;
      default:
        if (code < 0x80) {
          out += static_cast<char>(code);
        } else {
          out.append(text, i, length);
        }
    }
    i += length;
  }
  return out;
}

std::string WriteSvg(Timeline const& timeline, SvgOptions const& options) {
  double height = kLanesTop;
  for (TraceLane const& lane : timeline.lanes) height += lane.rows * kRowHeight + kLanePadding;
  height += 20;
  const double width = kLabelWidth + kPlotWidth + kRightMargin;
  const double span = std::max(timeline.end - timeline.begin, 1.0);
  const double scale = kPlotWidth / span;
  const auto xOf = [&](double micros) { return kLabelWidth + (micros - timeline.begin) * scale; };

  std::string out;
  Append(out,
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
         "viewBox=\"0 0 %.0f %.0f\" font-family=\"sans-serif\" font-size=\"11\">\n",
         width, height, width, height);
  out +=
      "<style>"
      ".Execute{fill:#4e79a7}.Dispose{fill:#a0a0a0}.Tick{fill:#59a14f}.Invoked{fill:#b07aa1}"
      ".HandOver{fill:#f28e2b}.Other{fill:#76b7b2}.Long{fill:#e15759}"
      ".in{fill:#fff;font-size:10px}.longText{fill:#a00;font-size:10px;font-weight:bold;"
      "paint-order:stroke;stroke:#fff;stroke-width:3px}.grid{stroke:#ddd}.axis{fill:#555}"
      "</style>\n";
  out += "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";

  // Title and legend.
  std::string title = XmlText(options.title, 80);
  Append(title, ": %zu complete events on %zu threads over %s", timeline.slices,
         timeline.lanes.size(), FormatDuration(timeline.end - timeline.begin).c_str());
  Append(out, "<text x=\"8\" y=\"18\" font-size=\"13\" font-weight=\"bold\">%s</text>\n",
         title.c_str());
  double legendX = 8;
  const std::string longText = "longer than " + FormatDuration(options.longMicros);
  const std::pair<char const*, char const*> legend[] = {
      {"Execute", "Execute"},    {"Dispose", "Dispose"},    {"Tick", "Tick"},
      {"Invoked", "Invoked"},    {"HandOver", "hand-over"}, {"Other", "other"},
      {"Long", longText.c_str()}};
  for (auto const& entry : legend) {
    Append(out,
           "<rect class=\"%s\" x=\"%.0f\" y=\"28\" width=\"10\" height=\"10\"/>"
           "<text x=\"%.0f\" y=\"37\">%s</text>\n",
           entry.first, legendX, legendX + 14, entry.second);
    legendX += 14 + std::strlen(entry.second) * kCharacterWidth + 18;
  }

  // The time axis, from the first event, with its grid.
  const double step = NiceStep(span / 8);
  const int ticks = static_cast<int>(std::min(span / step, 20.0));
  for (int i = 0; i <= ticks; ++i) {
    const double x = kLabelWidth + i * step * scale;
    Append(out,
           "<line class=\"grid\" x1=\"%.1f\" y1=\"%.0f\" x2=\"%.1f\" y2=\"%.0f\"/>"
           "<text class=\"axis\" x=\"%.1f\" y=\"%.0f\" text-anchor=\"middle\">%s</text>\n",
           x, kLanesTop - 8, x, height - 16, x, kLanesTop - 12, FormatTime(i * step, step).c_str());
  }
  Append(out, "<line stroke=\"#888\" x1=\"%.0f\" y1=\"%.0f\" x2=\"%.0f\" y2=\"%.0f\"/>\n",
         kLabelWidth, kLanesTop - 8, kLabelWidth + kPlotWidth, kLanesTop - 8);

  double y = kLanesTop;
  bool shade = false;
  for (TraceLane const& lane : timeline.lanes) {
    const double laneHeight = lane.rows * kRowHeight + kLanePadding;
    if (shade) {
      Append(out, "<rect x=\"0\" y=\"%.0f\" width=\"%.0f\" height=\"%.0f\" fill=\"#f3f3f3\"/>\n", y,
             width, laneHeight);
    }
    shade = !shade;
    Append(out, "<text x=\"8\" y=\"%.0f\"><title>%s</title>%s</text>\n",
           y + kLanePadding / 2 + kRowHeight - 4, XmlText(lane.name).c_str(),
           XmlText(lane.name, 28).c_str());
    for (TraceSlice const& slice : lane.slices) {
      const double x = xOf(slice.start);
      const double w = std::max(slice.duration * scale, 1.0);
      const double top = y + kLanePadding / 2 + slice.depth * kRowHeight;
      const bool isLong = slice.duration > options.longMicros;
      const std::string name = XmlText(slice.name);
      Append(out,
             "<rect class=\"%s\" x=\"%.2f\" y=\"%.0f\" width=\"%.2f\" height=\"%.0f\">"
             "<title>%s (%s) at %s, %s</title></rect>\n",
             isLong ? "Long" : BarClass(slice.category), x, top + 1, w, kRowHeight - 2,
             name.c_str(), XmlText(slice.category, 40).c_str(),
             FormatDuration(slice.start - timeline.begin).c_str(),
             FormatDuration(slice.duration).c_str());
      if (isLong) {
        Append(out, "<text class=\"longText\" x=\"%.2f\" y=\"%.0f\">%s %s</text>\n", x + 2,
               top + kRowHeight - 4, XmlText(slice.name, 40).c_str(),
               FormatDuration(slice.duration).c_str());
      } else if (w >= 30) {
        const auto fits = static_cast<std::size_t>((w - 4) / kCharacterWidth);
        Append(out, "<text class=\"in\" x=\"%.2f\" y=\"%.0f\">%s</text>\n", x + 2,
               top + kRowHeight - 4, XmlText(slice.name, fits).c_str());
      }
    }
    for (TraceMark const& mark : lane.marks) {
      const double x = xOf(mark.at);
      Append(out, "<path d=\"M%.2f %.0fl-4 -6h8z\" fill=\"#333\"><title>%s at %s</title></path>\n",
             x, y + kLanePadding / 2 + 6, XmlText(mark.name).c_str(),
             FormatDuration(mark.at - timeline.begin).c_str());
    }
    y += laneHeight;
  }
  if (timeline.lanes.empty()) {
    Append(out, "<text x=\"%.0f\" y=\"%.0f\">no events to draw</text>\n", kLabelWidth + 8,
           kLanesTop + 14);
  }
  Append(out, "<line stroke=\"#888\" x1=\"%.0f\" y1=\"%.0f\" x2=\"%.0f\" y2=\"%.0f\"/>\n",
         kLabelWidth - 4, kLanesTop - 8, kLabelWidth - 4, height - 16);
  out += "</svg>\n";
  return out;
}
