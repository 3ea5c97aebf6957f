#include "recorder/database/schemasteps.h"

#include "recorder/settings/settings.h"

#include <algorithm>
#include <string>

namespace recorder {

namespace {

std::string SqlOfVersion(long version, const std::vector<KRDB::DB_INSTANCE>& instances,
                         std::span<const SchemaStep> steps) {
    const bool onPostgres = GetSettings().database.postgres.has_value();
    std::string sql;
    for (const SchemaStep& step : steps) {
        const bool here = !step.instance || std::find(instances.begin(), instances.end(),
                                                      *step.instance) != instances.end();
        if (step.version == version && here && (onPostgres || !step.postgresOnly)) {
            sql += step.sql;
        }
    }
    return sql;
}

} // namespace

void ApplySchemaSteps(Database& database, const std::vector<KRDB::DB_INSTANCE>& instances,
                      std::span<const SchemaStep> steps, long target) {
    for (long version = database.SchemaVersion() + 1; version <= target; ++version) {
        database.ApplySchema(SqlOfVersion(version, instances, steps), version);
    }
}

} // namespace recorder
