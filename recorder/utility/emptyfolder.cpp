#include "platform/utility.h"

#include <unistd.h>

int KRRm(const std::string& path) {
    return rmdir(path.c_str());
}
