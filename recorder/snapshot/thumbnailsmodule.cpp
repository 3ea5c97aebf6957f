// The function of the module "thumbnails".

#include "recorder/snapshot/jpeg.h"

extern "C" recorder::MakeSmallJpegFunction KestoraModuleEntry;

void KestoraModuleEntry(std::span<const uint8_t> jpeg, int maxWidth, std::vector<uint8_t>& small) {
    small = recorder::MakeSmallJpeg(jpeg, maxWidth);
}
