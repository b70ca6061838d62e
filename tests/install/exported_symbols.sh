#!/usr/bin/env bash
# Lists what the library exports that it should not: every defined dynamic symbol must be one of the
# header's functions or belong to a class that plug-ins derive from or call. Also fails when a
# function of the header, or the type information a plug-in's decoder needs, is not exported.
# Usage: exported_symbols.sh LIBRARY HEADER
set -euo pipefail
library=$1 header=$2
functions=$(grep -oE 'VC_EXPORT int [A-Za-z_]+' "$header" | awk '{ print $3 }' | sort -u)
exported=$(nm -D --defined-only "$library" | awk '{ print $NF }' | sort -u)
plugin_classes='Vorn::(Buffer|DynamicClass|HandleSource|ReferenceCountObject|Vorncast::(Decoder|Track|Stream|SampleDescription|VideoSampleDescription|AudioSampleDescription))'
status=0
for function in $functions _ZTIN4Vorn8Vorncast7DecoderE _ZTIN4Vorn8Vorncast5TrackE _ZTIN4Vorn8Vorncast6StreamE \
    _ZTVN4Vorn8Vorncast7DecoderE; do
    grep -qx "$function" <<<"$exported" || { echo "not exported: $(c++filt "$function")"; status=1; }
done
while read -r symbol; do
    grep -qx "$symbol" <<<"$functions" && continue
    case $symbol in _init | _fini | __bss_start | _edata | _end) continue ;; esac
    demangled=$(c++filt "$symbol")
    grep -qE "^((vtable|typeinfo|typeinfo name) for )?$plugin_classes(::|$)" <<<"$demangled" && continue
    echo "exported but not public: $demangled"
    status=1
done <<<"$exported"
exit $status
