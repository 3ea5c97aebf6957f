#include "recorder/database/schema.h"

namespace recorder {

std::unique_ptr<Database> OpenDatabaseOf(KRDB::DB_INSTANCE instance) {
    return OpenReadOnlyDatabaseOf(instance);
}

} // namespace recorder
