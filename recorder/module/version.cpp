// Part of every module.

extern "C" {
// NOLINTNEXTLINE(readability-identifier-naming): a name for the loader, as C has it
extern const char kestora_module_version[];
const char kestora_module_version[] = KESTORA_VERSION;
}
