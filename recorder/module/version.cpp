// Part of every module.

extern "C" {
extern const char kestoraModuleVersion[];
const char kestoraModuleVersion[] = KESTORA_VERSION;
}
