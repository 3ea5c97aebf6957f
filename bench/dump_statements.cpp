// dump_statements DATABASE: the INSERT statements that the tool sent for the rows of table event,
// one a line.

#include "platform/recording.h"
#include "recorder/database/sqlite.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

long Number(const DBResult_tag& rows, int row, std::size_t column) {
    return std::strtol(rows.Field(row, column), nullptr, 10);
}

Event ToEvent(const DBResult_tag& rows, int row) {
    Event event;
    event.SetCamId(static_cast<int>(Number(rows, row, 0)));
    event.SetPath(rows.Field(row, 1));
    event.SetStartTm(Number(rows, row, 2));
    event.SetEndTm(Number(rows, row, 3));
    event.SetSize(static_cast<unsigned long long>(Number(rows, row, 4)));
    event.SetVdoType(static_cast<int>(Number(rows, row, 5)));
    event.SetAudFmt(rows.Field(row, 6));
    event.SetImgW(static_cast<int>(Number(rows, row, 7)));
    event.SetImgH(static_cast<int>(Number(rows, row, 8)));
    return event;
}

} // namespace

int main(int argc, char** argv) {
    constexpr int kLockTimeoutMs = 1000;
    if (argc != 2) {
        std::fprintf(stderr, "usage: dump_statements DATABASE\n");
        return 64;
    }
    try {
        const DBResult_tag rows =
            recorder::SqliteDatabase::Open(argv[1], kLockTimeoutMs)
                .Execute("SELECT camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, "
                         "img_w, img_h FROM event ORDER BY id;");
        for (int row = 0; row < rows.RowCount(); ++row) {
            std::puts(ToEvent(rows, row).strSqlInsert().c_str());
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "dump_statements: %s\n", error.what());
        return 1;
    }
}
