#!/usr/bin/env bash
# Writes the fuzzer's dictionary: every key-like text literal of the module's
# sources (payload keys, request and event names, role names, status words).
# Run it again after the module starts reading new keys.
set -euo pipefail
cd "$(dirname "$0")/.."
{
    echo "# Keys, names and words the module reads; made by fuzz/make-dictionary.sh"
    grep -rhoE '"[A-Za-z_@#][A-Za-z0-9_@#-]{0,63}"' src --include='*.cpp' --include='*.h' \
        | sort -u
} > fuzz/topology.dict
echo "$(grep -c '^"' fuzz/topology.dict) entries in fuzz/topology.dict"
