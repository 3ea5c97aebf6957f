#include "tools/common/findingview.h"

std::string FindingText(const recorder::Finding& finding, const CameraNames& names) {
    const std::string camera = finding.camId == 0 ? "" : CameraText(names, finding.camId);
    return PartText(finding.kind, camera) + ": " + finding.path + ": " + NameOf(finding.type) +
           (finding.detail.empty() ? "" : ": " + finding.detail);
}

Json JsonOf(const recorder::Finding& finding) {
    Json json;
    json["kind"] = KindKey(finding.kind);
    json["camera"] = finding.camId == 0 ? Json() : Json(finding.camId);
    json["path"] = JsonText(finding.path);
    json["finding"] = NameOf(finding.type);
    json["detail"] = JsonText(finding.detail);
    return json;
}
