#pragma once

// Classes that an import plug-in derives from, or whose members its decoders call, keep default
// visibility; everything else in the library is hidden.
#define VORN_PLUGIN_API __attribute__((visibility("default")))
