// The steps by which a database gets its tables, from one version to the next.

#pragma once

#include "platform/database.h"
#include "recorder/database/database.h"

#include <optional>
#include <span>
#include <vector>

namespace recorder {

// What leads from the version before to `version`. A version can have several, for different
// databases; they are applied in their order here.
struct SchemaStep {
    long version;                              // 1, 2, ...
    std::optional<KRDB::DB_INSTANCE> instance; // nothing: every database
    const char* sql;
    bool postgresOnly = false;
};

// Brings a database that holds these instances from its version to `target`, each version in one
// transaction. One of `target` or a higher version is left as it is. Throws Error.
void ApplySchemaSteps(Database& database, const std::vector<KRDB::DB_INSTANCE>& instances,
                      std::span<const SchemaStep> steps, long target);

} // namespace recorder
