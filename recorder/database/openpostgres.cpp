#include "recorder/database/openpostgres.h"

#include "recorder/module/module.h"

namespace recorder {

std::unique_ptr<Database> OpenPostgres(const PostgresSettings& settings, int lockTimeoutMs,
                                       PostgresAccess access) {
    static auto* const open = ModuleFunction<OpenPostgresFunction>(kPostgresqlModule);
    return std::unique_ptr<Database>(open(settings, lockTimeoutMs, access));
}

} // namespace recorder
