// The tone-mapping plug-in bridge: values passed through unchanged, the
// entry's result ignored, and both failures (no library, no entry) printing
// the one message and returning 1, the library without the entry left
// loaded. Also the checked entry points' codes.
#include <effects/effects.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

#if defined(_WIN32)
// Windows finds the stand-ins beside the test program.
const char* const kPlugin = "effects_test_plugin.dll";
const char* const kNoEntry = "effects_test_noentry.dll";
#else
const char* const kPlugin = EFFECTS_TEST_PLUGIN_PATH;
const char* const kNoEntry = EFFECTS_TEST_NOENTRY_PATH;
#endif
const char* const kMissing = "effects_no_such_plugin_7c1e";

// The checked entry points read a bare name as an operator's name: the
// stand-in is given to them by its path.
std::string plugin_path() {
#if defined(_WIN32)
    char name[MAX_PATH];
    const DWORD n = GetModuleFileNameA(nullptr, name, MAX_PATH);
    const std::string program(name, n);
    return program.substr(0, program.find_last_of("\\/") + 1) + kPlugin;
#else
    return kPlugin;
#endif
}
const std::string kMessage = "Couldn't load plugin.\n";

// Whether the process still holds the library (without loading it).
bool resident(const char* path) {
#if defined(_WIN32)
    return GetModuleHandleA(path) != nullptr;
#else
    void* h = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
#endif
}

// Drops the reference that the bridge keeps on a library without the entry.
void release_kept(const char* path) {
#if defined(_WIN32)
    if (HMODULE m = GetModuleHandleA(path)) FreeLibrary(m);
#else
    if (void* h = dlopen(path, RTLD_NOW | RTLD_NOLOAD)) {
        dlclose(h);
        dlclose(h);
    }
#endif
}

template <class Fn>
std::string stdout_of(Fn&& fn) {
    testing::internal::CaptureStdout();
    fn();
    return testing::internal::GetCapturedStdout();
}

TEST(ToneMappingBridge, PassesPointerSizedValuesAndIgnoresTheResult) {
    int32_t sum = 0;
    int32_t rc = -1;
    // The stand-in writes a2 + a3 + a4 + a5 through the pointer a1 and
    // returns 7; the bridge still reports 0 and prints nothing.
    const std::string out = stdout_of(
        [&] { rc = CallToneMapping(kPlugin, reinterpret_cast<intptr_t>(&sum), 1, 20, 300, 4000); });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(sum, 4321);
    EXPECT_EQ(out, "");
    EXPECT_FALSE(resident(kPlugin)) << "released after the call";
}

TEST(ToneMappingBridge, MissingLibraryPrintsOnceAndReturnsOne) {
    int32_t rc = -1;
    EXPECT_EQ(stdout_of([&] { rc = CallToneMapping(kMissing, 1, 2, 3, 4, 5); }), kMessage);
    EXPECT_EQ(rc, 1);
    EXPECT_EQ(stdout_of([&] { rc = CallToneMappingOptions(kMissing, 0); }), kMessage);
    EXPECT_EQ(rc, 1);
}

TEST(ToneMappingBridge, LibraryWithoutTheEntryPrintsOnceAndStaysLoaded) {
    ASSERT_FALSE(resident(kNoEntry));
    int32_t rc = -1;
    EXPECT_EQ(stdout_of([&] { rc = CallToneMapping(kNoEntry, 1, 2, 3, 4, 5); }), kMessage);
    EXPECT_EQ(rc, 1);
    EXPECT_TRUE(resident(kNoEntry));
    release_kept(kNoEntry);
    EXPECT_FALSE(resident(kNoEntry));
    // The stand-in has the mapping entry but not the options entry.
    EXPECT_EQ(stdout_of([&] { rc = CallToneMappingOptions(kPlugin, 0); }), kMessage);
    EXPECT_EQ(rc, 1);
    EXPECT_TRUE(resident(kPlugin));
    release_kept(kPlugin);
}

TEST(ToneMappingBridge, CheckedEntryPointsReportCodesAndPrintNothing) {
    float src[4] = {1, 1, 1, 1};
    uint8_t dst[4] = {};
    uint32_t used = 0;
    const std::string out = stdout_of([&] {
        EXPECT_EQ(EffectsToneMap(kMissing, 1, 1, src, 16, dst, 4, nullptr), EFFECTS_ERROR_PLUGIN_NOT_FOUND);
        EXPECT_EQ(EffectsToneMap("/no/such/folder/plugin.so", 1, 1, src, 16, dst, 4, nullptr),
                  EFFECTS_ERROR_PLUGIN_NOT_FOUND);
        EXPECT_EQ(EffectsToneMapOptionsUsed(kMissing, &used), EFFECTS_ERROR_PLUGIN_NOT_FOUND);
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(EffectsToneMap(nullptr, 1, 1, src, 16, dst, 4, nullptr), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsToneMap("reinhard", -1, 1, src, 16, dst, 4, nullptr), EFFECTS_ERROR_NEGATIVE_SIZE);
    EXPECT_EQ(EffectsToneMap("reinhard", 1, 1, nullptr, 16, dst, 4, nullptr), EFFECTS_ERROR_NULL_POINTER);
    EXPECT_EQ(EffectsToneMap("reinhard", 2, 1, src, 16, dst, 4, nullptr), EFFECTS_ERROR_BAD_STRIDE);
    EXPECT_EQ(EffectsToneMap("reinhard", 1, 1, src, 16, reinterpret_cast<uint8_t*>(src), 4, nullptr),
              EFFECTS_ERROR_OVERLAP);
    EXPECT_EQ(EffectsToneMapOptionsUsed("drago", nullptr), EFFECTS_ERROR_NULL_POINTER);
    // The checked path releases a library without the entry.
    EXPECT_EQ(EffectsToneMapOptionsUsed(plugin_path().c_str(), &used), EFFECTS_ERROR_PLUGIN_ENTRY);
    EXPECT_FALSE(resident(kPlugin));
}

}  // namespace
