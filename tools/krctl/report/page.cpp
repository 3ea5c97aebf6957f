#include "tools/krctl/report/page.h"

#include "tools/common/texts.h"
#include "tools/krctl/report/style.h"

#include <algorithm>

namespace {

constexpr long kMaxDaysWithHints = 4000; // limits the size of the page

const char* NameOf(Tone tone) {
    switch (tone) {
    case Tone::Good:
        return "good";
    case Tone::Bad:
        return "bad";
    case Tone::Waiting:
    case Tone::Change:
        break;
    }
    return "waiting";
}

const char* SignOf(Tone tone) {
    switch (tone) {
    case Tone::Good:
        return "\u2713";
    case Tone::Bad:
        return "!";
    case Tone::Change:
        return "\u00b1";
    case Tone::Waiting:
        break;
    }
    return "\u2026";
}

Html Header(const Report& report) {
    Html facts = Element("li", {}, report.subject);
    for (const std::string& fact : report.facts) {
        facts += Element("li", {}, fact);
    }
    const Html sign =
        Element("span", {{"class", "sign"}, {"aria-hidden", "true"}}, SignOf(report.tone));
    return Element("header", {{"class", NameOf(report.tone)}},
                   sign + Element("div", {},
                                  Element("ul", {{"class", "facts"}}, facts) +
                                      Element("h1", {}, report.title) +
                                      Element("p", {}, report.sentence)));
}

Html Notices(const Report& report) {
    Html notices;
    for (const ReportNotice& notice : report.notices) {
        Html cases;
        for (const std::string& each : notice.cases) {
            cases += Element("li", {}, Name(each));
        }
        notices += Element("section", {{"class", notice.isWarning ? "notice warning" : "notice"}},
                           Element("h2", {}, notice.title) + Element("p", {}, notice.sentence) +
                               (cases.IsEmpty() ? cases : Element("ul", {}, cases)));
    }
    return notices;
}

Html Totals(const Report& report) {
    Html totals;
    for (const ReportTotal& total : report.totals) {
        totals += Element("div", {{"class", total.isHighlighted ? "bad" : ""}},
                          Element("dt", {}, total.what) + Element("dd", {}, Grouped(total.number)));
    }
    return totals.IsEmpty()
               ? totals
               : Element("dl", {{"class", "totals"}, {"aria-label", "Totals"}}, totals);
}

// Explicit roles, because on a narrow screen the style displays the rows as cards and the browser
// drops the implicit ones.
Html TableHead(const Report& report) {
    const auto column = [](const std::string& title, const char* className) {
        return Element("th", {{"scope", "col"}, {"role", "columnheader"}, {"class", className}},
                       title);
    };
    Html cells = column("Kind", "") + column("Camera", "");
    for (const std::string& title : report.columns) {
        cells += column(title, "number");
    }
    if (!report.rows.back().time.empty()) {
        cells += column("Time", "number");
    }
    return Element("thead", {{"role", "rowgroup"}}, Element("tr", {{"role", "row"}}, cells));
}

Html TableRow(const Report& report, const ReportRow& row) {
    Html cells = Element("th", {{"scope", "row"}, {"role", "rowheader"}}, row.kind) +
                 Element("td", {{"role", "cell"}}, Name(row.camera));
    for (std::size_t i = 0; i < row.numbers.size(); ++i) {
        cells += Element("td",
                         {{"role", "cell"},
                          {"class", row.numbers[i] == 0 ? "number zero" : "number"},
                          {"data-of", report.columns[i]}},
                         Grouped(row.numbers[i]));
    }
    if (!row.time.empty()) {
        cells +=
            Element("td", {{"role", "cell"}, {"class", "number"}, {"data-of", "Time"}}, row.time);
    }
    return Element("tr", {{"role", "row"}}, cells);
}

Html TableHtml(const Report& report) {
    if (report.rows.empty()) {
        return {};
    }
    Html rows;
    for (std::size_t i = 0; i + 1 < report.rows.size(); ++i) {
        rows += TableRow(report, report.rows[i]);
    }
    const Html group =
        Element("tbody", {{"role", "rowgroup"}}, rows) +
        Element("tfoot", {{"role", "rowgroup"}}, TableRow(report, report.rows.back()));
    return Element("section", {{"aria-labelledby", "table"}},
                   Element("h2", {{"id", "table"}}, "By kind and camera") +
                       Element("table", {{"role", "table"}, {"aria-labelledby", "table"}},
                               TableHead(report) + group) +
                       (report.filesLegend.empty()
                            ? Html()
                            : Element("p", {}, "Files: " + report.filesLegend)));
}

long DaysOf(const std::vector<CameraCalendar>& calendars) {
    long days = 0;
    for (const CameraCalendar& calendar : calendars) {
        days +=
            calendar.days.IsEmpty() ? 0 : calendar.days.LastDay() - calendar.days.FirstDay() + 1;
    }
    return days;
}

bool HasBoth(const std::vector<CameraCalendar>& calendars) {
    return std::any_of(calendars.begin(), calendars.end(),
                       [](const CameraCalendar& calendar) { return calendar.days.HasBoth(); });
}

Html Calendars(const Report& report) {
    if (report.calendars.empty()) {
        return {};
    }
    const StripOptions options{report.labels, DaysOf(report.calendars) <= kMaxDaysWithHints};
    Html cameras;
    bool hasTimes = false;
    for (const CameraCalendar& calendar : report.calendars) {
        cameras += CalendarHtml(calendar, options);
        hasTimes = hasTimes || calendar.times.has_value();
    }
    return Element("section", {{"aria-labelledby", "days"}},
                   Element("h2", {{"id", "days"}}, "Recordings by day") +
                       StripLegend(report.labels, HasBoth(report.calendars)) +
                       (hasTimes ? RecordingTimesLegend() : Html()) + cameras);
}

Html Head(const Report& report) {
    return Element("head", {},
                   VoidElement("meta", {{"charset", "utf-8"}}) +
                       VoidElement("meta", {{"name", "viewport"},
                                            {"content", "width=device-width, initial-scale=1"}}) +
                       VoidElement("meta", {{"name", "color-scheme"}, {"content", "light dark"}}) +
                       VoidElement("meta", {{"name", "referrer"}, {"content", "no-referrer"}}) +
                       Element("title", {}, report.subject + ": " + report.title) +
                       Element("style", {}, Html::Markup(kReportStyle)));
}

} // namespace

std::string PageOf(const Report& report) {
    const Html body =
        Header(report) +
        Element("main", {},
                Notices(report) + Totals(report) + TableHtml(report) + Calendars(report)) +
        Element("footer", {}, report.footer);
    return "<!DOCTYPE html>\n" +
           Element("html", {{"lang", "en"}}, Head(report) + Element("body", {}, body)).Source() +
           "\n";
}
