#include "recorder/run/brake.h"

#include "recorder/database/databases.h"
#include "recorder/database/mediaselection.h"
#include "recorder/run/taps.h"
#include "recorder/support/error.h"
#include "recorder/support/format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace recorder {

namespace {

constexpr double kWhole = 100; // percent
constexpr const char* kCamera = "camera_id";

// The rows before the run changed any: rows that it adds must not allow it to remove more.
long RowsBefore(KRDB::DB_INSTANCE instance, const std::string& table, const std::string& camera) {
    if (const long known = KnownRows(table, camera); known > 0) {
        return known;
    }
    const DBResult_tag rows =
        Execute(instance,
                "SELECT count(*) AS rows FROM " + table +
                    (camera.empty() ? "" : std::string(" WHERE ") + kCamera + " = " + camera) + ";",
                {.readOnly = true});
    return rows.Long(0, "rows");
}

// The options that select these rows. Rows of a deleted camera can't be selected by their camera.
std::string OptionsFor(const std::string& table, const std::string& camera) {
    std::string kind = MediaTableOf(table).media;
    std::replace(kind.begin(), kind.end(), ' ', '-');
    const bool isCamera =
        !camera.empty() &&
        Execute(KRDB::DB_SYSTEM, "SELECT 1 FROM camera WHERE id = " + camera + ";",
                {.readOnly = true})
                .RowCount() > 0;
    return "--kind " + kind + (isCamera ? " --camera " + camera : "");
}

std::string Reason(const RemovalLimit& limit, const std::string& table, const std::string& camera,
                   long removed, long rows) {
    return Format("%ld of %ld ", removed, rows) + MediaTableOf(table).media +
           (camera.empty() ? "" : " of camera " + camera) + " would be removed, more than " +
           limit.Text() + ": none is removed; to remove them, run krctl run " +
           OptionsFor(table, camera) + " --max-removed " + limit.TextToAllow(removed, rows);
}

} // namespace

RemovalLimit::RemovalLimit(const std::string& text) : m_text(text), m_isShare(text.ends_with('%')) {
    const char* const end = text.data() + text.size() - (m_isShare ? 1 : 0);
    long rows = 0;
    const auto [stop, error] = m_isShare ? std::from_chars(text.data(), end, m_limit)
                                         : std::from_chars(text.data(), end, rows);
    m_limit = m_isShare ? m_limit : static_cast<double>(rows);
    if (error != std::errc() || stop != end || !(m_limit >= 0) || (m_isShare && m_limit > kWhole)) {
        throw Error("\"" + text +
                    "\": expected a number of rows, or a share of them from 0% to 100%");
    }
}

bool RemovalLimit::Allows(long removed, long rows) const {
    return m_isShare ? kWhole * static_cast<double>(removed) <= m_limit * static_cast<double>(rows)
                     : static_cast<double>(removed) <= m_limit;
}

std::string RemovalLimit::TextToAllow(long removed, long rows) const {
    return m_isShare ? Format("%.0f%%", std::ceil(kWhole * static_cast<double>(removed) /
                                                  static_cast<double>(rows)))
                     : std::to_string(removed);
}

bool HasRemovalLimit() {
    return std::getenv(kMaxRemovedVariable) != nullptr;
}

RowsByCamera CountRows(KRDB::DB_INSTANCE instance, const std::string& table,
                       const std::string& condition) {
    const std::string camera = HasCameras(MediaTableOf(table)) ? kCamera : "''";
    const DBResult_tag rows = Execute(
        instance,
        "SELECT " + camera + " AS camera, count(*) AS rows FROM " + table + " WHERE " + condition +
            (HasCameras(MediaTableOf(table)) ? std::string(" GROUP BY ") + kCamera : "") + ";",
        {.readOnly = true});
    RowsByCamera counts;
    for (int row = 0; row < rows.RowCount(); ++row) {
        counts[std::string(rows.Text(row, "camera"))] = rows.Long(row, "rows");
    }
    return counts;
}

std::map<std::string, std::string> Braked(KRDB::DB_INSTANCE instance, const std::string& table,
                                          const RowsByCamera& removed) {
    std::map<std::string, std::string> braked;
    const char* const text = std::getenv(kMaxRemovedVariable);
    if (text == nullptr) {
        return braked;
    }
    const RemovalLimit limit(text);
    for (const auto& [camera, count] : removed) {
        const long rows = RowsBefore(instance, table, camera);
        if (!limit.Allows(count, rows)) {
            braked[camera] = Reason(limit, table, camera, count, rows);
        }
    }
    return braked;
}

void RequireWithinLimit(KRDB::DB_INSTANCE instance, const std::string& table,
                        const RowsByCamera& removed) {
    for (const auto& [camera, why] : Braked(instance, table, removed)) {
        NoteRefusal(why);
        throw Error(why);
    }
}

} // namespace recorder
