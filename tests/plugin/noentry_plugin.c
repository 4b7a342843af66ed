/* A shared library that is not a tone-mapping plug-in: it loads, but exports
   neither plug-in entry. */
#if defined(_WIN32)
#define PLUGIN_EXPORT __declspec(dllexport)
#else
#define PLUGIN_EXPORT __attribute__((visibility("default")))
#endif

PLUGIN_EXPORT int NotAToneMapper(int x) { return x + 1; }
