// The presentation of findings.

#pragma once

#include "recorder/finding/finding.h"
#include "tools/common/json.h"
#include "tools/common/texts.h"

#include <string>

// "recordings of camera 3 Front: 20140312AM/NAME: size: 12 bytes, row 2314 bytes"; not escaped.
[[nodiscard]] std::string FindingText(const recorder::Finding& finding, const CameraNames& names);

// The members of a finding in docs/json/check.schema.json and findings.schema.json, without times.
[[nodiscard]] Json JsonOf(const recorder::Finding& finding);
