#!/usr/bin/env python3
"""Every text key used in code exists in each language, none is unused, and menu letters don't collide.

usage: texts_test.py SOURCE_DIR
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
problems = []


def read(path):
    texts = {}
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip() or line.lstrip().startswith("#"):
            continue
        key, equals, text = (part.strip() for part in line.partition("="))
        if not equals or not text:
            problems.append(f"{path.name}:{number}: no text")
        if key in texts:
            problems.append(f"{path.name}:{number}: {key} stands there twice")
        texts[key] = text
    return texts


languages = {path.stem: read(path) for path in sorted((root / "resources/texts").glob("*.txt"))}
if not {"en", "de"} <= set(languages):
    raise SystemExit("FAILED: English and German are both wanted")
english = languages["en"]

sources = [path for folder in ("src", "tests") for suffix in ("*.cpp", "*.h")
           for path in (root / folder).rglob(suffix)]
code = {path: path.read_text(encoding="utf-8") for path in sources if not path.stem.endswith("_test")}

# Keys in a call are checked one by one. Keys in tables can't be told from other words; there it is the other way
# round: a text that no literal names is unused, and what a table names without a text shows in the pictures.
literal = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
called = re.compile(r'\b(?:TextOf|TEXTRES::Text)\(\s*"([^"]+)"\s*\)')
literals = set()
for path, text in code.items():
    literals |= set(literal.findall(text))
    for key in called.findall(text):
        if key not in english:
            problems.append(f"{path.relative_to(root)}: no text for {key}")
    # A label's or a dialog entry's key has an ending that no other literal has.
    for word in literal.findall(text):
        if re.fullmatch(r"[a-z][a-z0-9_]*[a-z0-9]_c?", word) and "/app/" in str(path) and word not in english:
            problems.append(f"{path.relative_to(root)}: no text for {word}")

# Error texts are found by number, the descriptions of systems too.
numbers = set(re.findall(r"= -(\d{4})\b", code[root / "src/base/status.h"]))
described = set(re.findall(r"\b(725\d\d)\b", "".join(code.values())))
for number in numbers:
    if f"error_{number}" not in english:
        problems.append(f"no text for error {number}")
for key in english:
    if key not in literals and key.removeprefix("error_") not in numbers and key not in described:
        problems.append(f"en: {key} is used nowhere")

# Phrases of details are found in what the code composes, which must go on saying so.
joined = {path: re.sub(r'" "', "", re.sub(r"\s+", " ", text)) for path, text in code.items()}
table = joined[root / "src/base/status.cpp"]
said = "\n".join(text for text in joined.values() if text is not table)
for key, text in english.items():
    if key.startswith("detail_"):
        if text not in said:
            problems.append(f"en: nothing says {key} any more")
        if f'{{"{text}", "{key}"}}' not in table:
            problems.append(f"en: {key} isn't what is looked for")

for language, texts in languages.items():
    for key in english.keys() - texts.keys():
        problems.append(f"{language}: {key} is missing")
    for key in texts.keys() - english.keys():
        problems.append(f"{language}: {key} isn't in English")
    for key, text in texts.items():
        wanted = english.get(key, text)
        if ("&" in wanted) != ("&" in text):
            problems.append(f"{language}: {key} differs in having a letter")
        if sorted(re.findall(r"%\d", wanted)) != sorted(re.findall(r"%\d", text)):
            problems.append(f"{language}: {key} differs in its places to fill")
        if key.endswith("_") and not text.endswith("..."):
            problems.append(f"{language}: {key} opens something and should end in dots")
        if key.removesuffix("_D").removeprefix("D_").startswith("XXX") and "," in text:
            problems.append(f"{language}: {key} has a comma where values have a point")
    if texts["options_"].replace("&", "") != texts["options"] + "...":
        problems.append(f"{language}: the menu and the window name the options differently")

# One letter in each menu, and in the bar.
menu_code = code[root / "src/app/mainmenu.cpp"]
menus = {"the bar": ["file", "view", "window", "layer", "script", "help"]}
for body in re.split(r"\nvoid MainMenu::Build", menu_code)[1:]:
    name = body.split("(", 1)[0]
    keys = [key for key in literal.findall(body.split("\n}\n", 1)[0]) if "&" in english.get(key, "")]
    menus[name] = [key for key in keys if key not in menus["the bar"] or name == "the bar"]
for language, texts in languages.items():
    for menu, keys in menus.items():
        if menu == "View":  # language and theme are menus of their own
            inner = {"as_the_system", "light", "dark"}
            groups = [[k for k in keys if k not in inner], [k for k in keys if k in inner]]
        elif menu == "Rest":  # two menus
            groups = [[k for k in keys if k == "offsets_"], [k for k in keys if k != "offsets_"]]
        else:
            groups = [keys]
        for group in map(set, groups):
            letters = [texts[key][texts[key].index("&") + 1].lower() for key in group if "&" in texts.get(key, "")]
            for letter in {letter for letter in letters if letters.count(letter) > 1}:
                problems.append(f"{language}: {menu} has the letter {letter} twice")

if problems:
    raise SystemExit("FAILED:\n" + "\n".join(sorted(problems)))
print(f"ok: {len(english)} texts in {', '.join(languages)}")
