#include "tools/krctl/report/yearstrip.h"

#include "recorder/support/format.h"
#include "tools/common/texts.h"
#include "tools/krctl/report/dates.h"

#include <algorithm>
#include <array>
#include <vector>

// A cell is one unit wide and one high. Days that look alike are one line of a path, drawn as wide
// as a cell; the gaps between cells, the stripes of a hole and the signs of drift are dashes of it
// (style.css). This keeps ten years of many cameras small.

namespace {

using recorder::Format;

// The days of a path, added in ascending order month by month.
class Cells {
public:
    void Add(unsigned day, unsigned row) {
        if (m_count > 0 && (row != m_row || day != m_first + m_count)) {
            EndLine();
        }
        if (m_count == 0) {
            m_first = day;
            m_row = row;
        }
        ++m_count;
    }

    // Returns nothing if there are no days.
    Html Path(const char* className) {
        EndLine();
        return m_path.empty()
                   ? Html()
                   : Html::Markup(Format("<path class=\"%s\" d=\"", className) + m_path + "\"/>");
    }

private:
    void EndLine() {
        if (m_count > 0) {
            m_path += Format("M%u %uh%u", m_first - 1, m_row, m_count);
            m_count = 0;
        }
    }

    std::string m_path;
    unsigned m_first = 0;
    unsigned m_row = 0;
    unsigned m_count = 0;
};

class CellPaths {
public:
    void Add(unsigned day, unsigned row, const RecordingDay& what, int level, bool isHole) {
        if (level > 0) {
            m_levels.at(static_cast<std::size_t>(level - 1)).Add(day, row);
        } else if (isHole) {
            m_holes.Add(day, row);
        } else {
            m_empty.Add(day, row);
        }
        if (!what.HasDrift()) {
            return;
        }
        m_drift.Add(day, row);
        if (what.gained > 0) {
            m_gains.Add(day, row);
        }
        if (what.gained > 0 && what.lost > 0) {
            m_both.Add(day, row);
        }
    }

    Html Paths() {
        Html paths = m_empty.Path("c e");
        constexpr std::array<const char*, 4> kNames{"c l1", "c l2", "c l3", "c l4"};
        for (std::size_t i = 0; i < kNames.size(); ++i) {
            paths += m_levels.at(i).Path(kNames.at(i));
        }
        paths += m_holes.Path("c h") + m_holes.Path("s");
        return paths + m_drift.Path("k") + m_drift.Path("m") + m_gains.Path("p") + m_both.Path("b");
    }

private:
    std::array<Cells, 4> m_levels;
    Cells m_empty;
    Cells m_holes;
    Cells m_drift;
    Cells m_gains;
    Cells m_both;
};

std::string CountText(long count) {
    return count == 0 ? "no recordings" : Grouped(count, "recording");
}

std::string DayText(long day, const RecordingDay& what, const DriftLabels& labels) {
    const std::string text = RangeText(day, day) + ": " + CountText(what.count);
    return what.HasDrift() ? text + "; " + DriftText(what, labels) : text;
}

// The totals of some days of a month.
struct MonthSum {
    long count = 0;
    std::vector<unsigned> holes;
    std::vector<unsigned> gains;
    std::vector<unsigned> losses;
};

std::string MonthText(const Date& month, const MonthSum& sum, const DriftLabels& labels) {
    std::string text = std::string(MonthName(month.month)) + " " + std::to_string(month.year) +
                       ": " + CountText(sum.count);
    const auto append = [&](const std::string& what, const std::vector<unsigned>& days) {
        text += days.empty() ? "" : "; " + what + " on " + DayListText(days);
    };
    append("no recordings", sum.holes);
    append("rows " + labels.added, sum.gains);
    append("rows " + labels.removed, sum.losses);
    return text;
}

// The text under the pointer: an invisible shape over the cells.
std::string Hint(unsigned firstDay, unsigned row, unsigned days, const std::string& text) {
    return Format("<path d=\"M%u %uh%u\"><title>", firstDay - 1, row, days) +
           Html::Text(text).Source() + "</title></path>";
}

class YearPicture {
public:
    YearPicture(const RecordingDays& days, int year, const StripOptions& options)
        : m_days(days), m_options(options), m_first(std::max(days.FirstDay(), DayOf({year, 1, 1}))),
          m_last(std::min(days.LastDay(), DayOf({year, 12, 31}))), m_year(year) {}

    Html Draw() {
        const unsigned firstMonth = DateOf(m_first).month;
        const unsigned lastMonth = DateOf(m_last).month;
        for (unsigned month = firstMonth; month <= lastMonth; ++month) {
            AddMonth({m_year, month, 1}, month - firstMonth);
        }
        const std::string box = Format("-3.2 -1.7 34.2 %u.3", lastMonth - firstMonth + 2);
        const Html picture = Axis() + Html::Markup(m_labels) + m_paths.Paths() +
                             Html::Markup("<g class=\"t\">" + m_hints + "</g>");
        return Element("figure", {},
                       Element("figcaption", {}, std::to_string(m_year)) +
                           Element("svg",
                                   {{"viewBox", box}, {"role", "img"}, {"aria-label", Summary()}},
                                   picture));
    }

private:
    static Html Axis() {
        std::string axis;
        for (const unsigned day : {1U, 10U, 20U, 31U}) {
            axis += Format("<text class=\"n\" x=\"%u\">%u</text>", day - 1, day);
        }
        return Html::Markup(axis);
    }

    void AddMonth(const Date& month, unsigned row) {
        const long before = DayOf(month) - 1; // so that the day's number can be added
        const auto first = static_cast<unsigned>(std::max(m_first - before, 1L));
        const auto last = static_cast<unsigned>(
            std::min(m_last - before, static_cast<long>(DaysInMonth(m_year, month.month))));
        MonthSum sum;
        for (unsigned day = first; day <= last; ++day) {
            AddDay(before + day, day, row, sum);
        }
        if (!m_options.hasHintPerDay) {
            m_hints += Hint(first, row, last - first + 1, MonthText(month, sum, m_options.labels));
        }
        m_labels += Format("<text y=\"%u\">%.3s</text>", row, MonthName(month.month));
    }

    void AddDay(long day, unsigned number, unsigned row, MonthSum& sum) {
        const RecordingDay& what = m_days.At(day);
        const bool isHole = m_days.IsHole(day);
        m_paths.Add(number, row, what, m_days.Level(what), isHole);
        if (m_options.hasHintPerDay) {
            m_hints += Hint(number, row, 1, DayText(day, what, m_options.labels));
        }
        m_recordings += what.count;
        sum.count += what.count;
        if (isHole) {
            ++m_holes;
            sum.holes.push_back(number);
        }
        if (what.gained > 0) {
            sum.gains.push_back(number);
        }
        if (what.lost > 0) {
            sum.losses.push_back(number);
        }
        m_drift += what.HasDrift() ? 1 : 0;
    }

    [[nodiscard]] std::string Summary() const {
        std::string text = std::to_string(m_year) + ": " + CountText(m_recordings);
        if (m_holes > 0) {
            text += "; " + Grouped(m_holes, "day") + " without";
        }
        if (m_drift > 0) {
            text += "; changes on " + Grouped(m_drift, "day");
        }
        return text;
    }

    const RecordingDays& m_days;
    const StripOptions& m_options;
    long m_first;
    long m_last;
    int m_year;
    CellPaths m_paths;
    std::string m_labels;
    std::string m_hints;
    long m_recordings = 0;
    long m_holes = 0;
    long m_drift = 0;
};

Html Swatch(const std::vector<RecordingDay>& days, const std::vector<int>& levels, bool isHole) {
    CellPaths paths;
    for (std::size_t i = 0; i < days.size(); ++i) {
        paths.Add(static_cast<unsigned>(i) + 1, 0, days[i], levels[i], isHole);
    }
    return Element("svg",
                   {{"viewBox", Format("0 -.5 %zu 1", days.size())},
                    {"style", Format("width:%zuem", days.size())},
                    {"aria-hidden", "true"}},
                   paths.Paths());
}

} // namespace

Html YearStrip(const RecordingDays& days, int year, const StripOptions& options) {
    return YearPicture(days, year, options).Draw();
}

Html StripLegend(const DriftLabels& labels, bool withBoth) {
    const RecordingDay plain;
    RecordingDay gain;
    gain.gained = 1;
    RecordingDay loss;
    loss.lost = 1;
    RecordingDay both = gain;
    both.lost = 1;
    constexpr int kShade = 3;
    const auto item = [](const Html& swatch, const std::string& text) {
        return Element("li", {}, swatch + Element("span", {}, text));
    };
    return Element(
        "ul", {{"class", "legend"}},
        item(Swatch({plain, plain, plain, plain}, {1, 2, 3, 4}, false), "few to many recordings") +
            item(Swatch({plain}, {0}, true), "no recordings") +
            item(Swatch({gain}, {kShade}, false), "rows " + labels.added) +
            item(Swatch({loss}, {kShade}, false), "rows " + labels.removed) +
            (withBoth ? item(Swatch({both}, {kShade}, false), "both") : Html()));
}
