"""Prints the texts to translate of the Python files given, for lupdate, as C++. Fails on a text that
is shown without tr."""
import ast
import json
import sys

MARKS = ("tr", "marked")
SHOWING = ("message", "on_message", "warning", "transaction", "insert_menu", "ask_save_file_name")


def name_of(call):
    return getattr(call.func, "attr", getattr(call.func, "id", ""))


def is_bare(argument):
    return isinstance(argument, ast.Constant) and isinstance(argument.value, str) \
        and " " in argument.value


failures = 0
print("static const char *const texts[] = {")
for path in sys.argv[1:]:
    for call in ast.walk(ast.parse(open(path).read())):
        if isinstance(call, ast.Call) and name_of(call) in MARKS and is_bare(call.args[0]):
            print('QT_TRANSLATE_NOOP("sem_background", %s),' % json.dumps(call.args[0].value, ensure_ascii=False))
        if isinstance(call, ast.Call) and name_of(call) in SHOWING:
            for argument in filter(is_bare, call.args):
                print("%s:%d: %r without tr" % (path, argument.lineno, argument.value),
                      file=sys.stderr)
                failures += 1
print("};")
sys.exit(failures > 0)
