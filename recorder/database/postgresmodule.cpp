// The function of the module "postgresql".

#include "recorder/database/postgres.h"

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
extern "C" recorder::OpenPostgresFunction kestora_module_entry;

// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
recorder::Database* kestora_module_entry(const recorder::PostgresSettings& settings,
                                         int lockTimeoutMs, recorder::PostgresAccess access) {
    return std::make_unique<recorder::PostgresDatabase>(settings, lockTimeoutMs, access).release();
}
