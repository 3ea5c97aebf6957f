// floor_insert DATABASE CAMERA FOLDER: the minimum for adding the recordings of a camera. Reads the
// properties of each mp4 that its row holds, and sends the same statements as the tool, 1000 to a
// transaction.

#include "bench/floors/ahead.h"
#include "bench/floors/engine.h"
#include "bench/floors/floor.h"
#include "bench/floors/mp4.h"
#include "bench/floors/walk.h"

#include <array>
#include <cstdlib>

namespace {

constexpr int kBatchCnt = 1000;
constexpr int kH264 = 3;
constexpr std::size_t kStartDigits = 10;
constexpr std::size_t kExtension = 4;

std::string Statement(const char* camera, const std::string& path, const std::string& name) {
    const floors::Mp4 mp4 = floors::ReadMp4(path);
    const std::size_t half = path.rfind('/', path.size() - name.size() - 2) + 1;
    const long start =
        std::strtol(name.c_str() + name.size() - kExtension - kStartDigits, nullptr, 10);
    std::array<char, 1024> text{};
    std::snprintf(
        text.data(), text.size(),
        "INSERT INTO event (ds_id, camera_id, path, start_tm, end_tm, size, vdo_type, aud_fmt, "
        "img_w, img_h) VALUES (0, %s, '%s', %ld, %ld, %ld, %d, '%s', %d, %d) "
        "ON CONFLICT (camera_id, path) DO UPDATE SET ds_id = excluded.ds_id, "
        "start_tm = excluded.start_tm, end_tm = excluded.end_tm, size = excluded.size, "
        "vdo_type = excluded.vdo_type, aud_fmt = excluded.aud_fmt, img_w = excluded.img_w, "
        "img_h = excluded.img_h RETURNING id;",
        camera, path.c_str() + half, start, start + mp4.durationSec, mp4.sizeBytes,
        mp4.hasH264 ? kH264 : 0, mp4.hasAac ? "AAC" : "", mp4.width, mp4.height);
    return text.data();
}

void Insert(std::span<char*> args) {
    floors::Engine engine(args[0]);
    const floors::Ahead ahead(
        args[2], [](const std::string& path) { static_cast<void>(floors::ReadMp4(path)); });
    std::string batch;
    int count = 0;
    floors::WalkFolder(args[2], [&](const std::string& path, const char* name) {
        batch += Statement(args[1], path, name);
        if (++count % kBatchCnt == 0) {
            engine.Run("BEGIN;" + batch + "COMMIT;");
            batch.clear();
        }
    });
    engine.Run("BEGIN;" + batch + "COMMIT;");
    std::printf("%d statements\n", count);
}

} // namespace

int main(int argc, char** argv) {
    return floors::RunFloor(argc, argv, 3, "floor_insert DATABASE CAMERA FOLDER", Insert);
}
