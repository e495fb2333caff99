#!/usr/bin/env bash
# Brings translations/*.ts in line with the texts in the sources; what is new is left unfinished, for
# Qt Linguist or an editor. With --check nothing is written: it fails if a text is not translated.
set -euo pipefail
cd "$(dirname "$0")/.."
tools=/usr/lib/qt5/bin

# What shows a text takes none that lacks tr.
shows='(set(Text|ToolTip|Title|WindowTitle|AccessibleName|PlaceholderText)|addItems?|warn|told|setNotice'
shows+='|new Q(Label|PushButton|CheckBox|RadioButton|GroupBox))'
if grep -rnE "$shows\\((\\{ *)?(QLatin1String\\(|QStringLiteral\\()?\"[A-Za-z]" --include='*.cpp' \
    panel plugin hosting klayout; then
    echo "shown without tr" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp translations/*.ts "$work"
python3 scripts/python-texts.py klayout/python/sem_background/*.py >"$work/python.cpp"
"$tools/lupdate" -silent -I . -locations none -no-obsolete panel plugin hosting klayout "$work/python.cpp" \
    -ts "$work"/*.ts
if [ "${1:-}" != --check ]; then
    cp "$work"/*.ts translations
elif grep -B6 'type="unfinished"' "$work"/*.ts; then
    echo "not translated: run scripts/translate.sh" >&2
    exit 1
fi
