#include "tools/common/coverageview.h"

const char* TextOf(recorder::Coverage coverage) {
    switch (coverage) {
    case recorder::Coverage::Recorded:
        return "recorded";
    case recorder::Coverage::NotIndexed:
        return "not indexed";
    case recorder::Coverage::Damaged:
        return "damaged";
    case recorder::Coverage::Unknown:
        return "unknown";
    case recorder::Coverage::Removed:
        return "removed from disk";
    case recorder::Coverage::NotRecorded:
        return "not recorded";
    }
    return "unknown";
}
