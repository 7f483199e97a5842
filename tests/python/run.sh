#!/bin/sh
# Runs the module's tests with pytest: run.sh PYTHON TESTS-FOLDER.
# Under the sanitizers (KESTROVA_SANITIZED=1) the interpreter, which is not
# instrumented, may refuse the preloaded runtime: then the tests are skipped
# (77) with the reason. Anywhere else a module that does not load fails.
python="$1"
folder="$2"
if [ "${KESTROVA_SANITIZED:-0}" = 1 ] && ! reason=$("$python" -c 'import kestrova' 2>&1); then
    printf 'skipped: the interpreter cannot load the sanitized module:\n%s\n' "$reason"
    exit 77
fi
cd "$folder" && exec "$python" -m pytest -q -p no:cacheprovider "$folder"
