"""The checks. Each one yields its findings as lines."""

import fnmatch
import json
import os
import re

import jsonschema

from docs import completion, manual, markdown, programs, settings

SOURCE_NAME = re.compile(r"[\w*.-]+\.(cpp|h|h\.in|py|sql|md|service|timer|schema\.json)|CMakeLists\.txt")
COMMAND = re.compile(r"(?:^|[\s(\"'/])(krctl|krindexer)(?=\s|$)([^;|#&>]*)")
PAGE_OF = {"krctl": "packaging/man/krctl.8", "krindexer": "packaging/man/krindexer.8"}


def findings(project):
    """Returns the findings of all checks."""
    known = {"krctl": programs.krctl(project.krctl), "krindexer": programs.krindexer(project)}
    found = []
    for check in (paths, tests_that_are_named, commands_that_are_named, pages_of_programs, completions,
                  settings_that_are_named, settings_page, schemas):
        found += check(project, known)
    return found


def _code(project, name):
    """Returns the pieces of code in a document: commands and names."""
    text = project.read(name)
    if name in project.pages():
        return list(manual.code(text))
    return markdown.spans(text) + markdown.blocks(text)


def _documents(project):
    return project.texts() + project.pages()


# --- paths ---------------------------------------------------------------------------------------


def _exists(project, path):
    path = path.rstrip("/")
    if path in project.files or path in project.folders:
        return True
    pattern = re.sub(r"[A-Z]{2,}", "*", path)  # tests/scenarios/KIND/CASE
    return pattern != "*" and "*" in pattern and any(
        fnmatch.fnmatchcase(entry, pattern) for entry in project.files | project.folders)


def _is_part(project, path):
    """Returns true for a path below any folder of the project, such as the bare name of a source."""
    patterns = {path, re.sub(r"[A-Z]{2,}", "*", path)}
    return any(fnmatch.fnmatchcase("/" + name, "*/" + pattern)
               for name in project.files for pattern in patterns)


def paths(project, _known):
    rooms = {folder for folder in project.folders if "/" not in folder}
    for name in _documents(project):
        text = project.read(name)
        for target in markdown.links(text) if name in project.texts() else []:
            path = os.path.normpath(os.path.join(os.path.dirname(name), target))
            if not _exists(project, path):
                yield f"{name}: the link {target} leads nowhere"
        for word in sorted({word for piece in _code(project, name) for word in piece.split()}):
            word = word.strip("()[],;:\"'").removesuffix(".")
            room = word.split("/")[0]
            if "/" in word and room in rooms:
                if not _exists(project, word):
                    yield f"{name}: {word} does not exist"
            elif SOURCE_NAME.fullmatch(word.rpartition("/")[2]) and not word.startswith("/"):
                if not _is_part(project, word):
                    yield f"{name}: no file is called {word}"


def tests_that_are_named(project, _known):
    for name in project.texts():
        for span in markdown.spans(project.read(name)):
            if re.fullmatch(r"[A-Z]\w+\.[A-Z]\w+", span) and span not in project.tests:
                yield f"{name}: no such test: {span}"


# --- commands ------------------------------------------------------------------------------------


def _unknown(program, command, words):
    """Yields the words of a command line that the program doesn't understand."""
    for word in words:
        word = word.strip("[](),.")
        if re.match(r"-{1,2}[a-z]", word):
            # -r and -1 are two words.
            if word.split("=")[0] not in command.options | {"--help"}:
                yield f"{program} {command.words}".strip() + f" has no option {word}"
        elif command.commands and re.fullmatch(r"[a-z]+(\|[a-z]+)*", word):
            alternatives = word.split("|")
            for alternative in alternatives:
                if alternative not in command.commands:
                    yield f"{program} {command.words}".strip() + f" has no command {alternative}"
            command = command.commands.get(alternatives[0])
            if command is None:
                return


def commands_that_are_named(project, known):
    options = known["krctl"].all_options() | known["krindexer"].options
    for name in _documents(project):
        for piece in _code(project, name):
            for program, rest in COMMAND.findall(piece):
                for finding in _unknown(program, known[program], rest.split()):
                    yield f"{name}: {finding}"
            bare = re.match(r"-{1,2}[a-z][a-z-]*(?= |$)", piece)
            if bare and bare[0] not in options and not re.search(
                    rf"(?<![\w-]){re.escape(bare[0])}(?![\w-])", project.scripts):
                yield f"{name}: no program or script has an option {bare[0]}"
        for reference in manual.references(project.read(name)):
            if f"packaging/man/{reference}" not in project.files:
                yield f"{name}: no such manual page: {reference}"


def _differences(page, what, said, understood):
    for word in sorted(said - understood):
        yield f"{page}: {what} has no {word}"
    for word in sorted(understood - said):
        yield f"{page}: {word} of {what} is missing"


def pages_of_programs(project, known):
    for program, page in PAGE_OF.items():
        said = manual.commands(project.read(page), program)
        leaves = {leaf.words: leaf for leaf in known[program].leaves()}
        yield from _differences(page, program, set(said), set(leaves))
        for words, leaf in leaves.items():
            options, arguments = said.get(words, (set(), set()))
            help_of_all = set() if not words else {"-h", "--help"}  # described once
            what = f"{program} {words}".strip()
            if words in said:
                yield from _differences(page, what, options, leaf.options - help_of_all)
                yield from _differences(page, what, arguments, leaf.arguments)


def completions(project, _known):
    for name, text in completion.files(project.krctl).items():
        if name not in project.files or project.read(name) != text:
            yield f"{name}: differs from what script/completion writes; run it"


# --- settings ------------------------------------------------------------------------------------


def settings_that_are_named(project, _known):
    keys = set(settings.keys(project))
    sections = {key.split(".")[0] for key in keys}
    for name in _documents(project):
        text = project.read(name)
        is_page = name in project.pages()
        named = set()
        for block in manual.examples(text) if is_page else markdown.settings(text):
            try:
                named.update(settings.set_in(block))
            except ValueError as error:
                yield f"{name}: an example of settings is not valid TOML: {error}"
        for span in [] if is_page else markdown.spans(text):
            named.update(re.findall(rf"^((?:{'|'.join(sections)})\.(?!db$)[a-z]\w*)(?: =|$)", span))
        for key in sorted(named):
            if key not in keys and key.rstrip(".") not in sections:
                yield f"{name}: no such setting: {key}"


def settings_page(project, _known):
    page = "packaging/man/kestora.toml.5"
    keys = settings.keys(project)
    said = manual.settings(project.read(page))
    yield from _differences(page, "the settings", set(said), set(keys))
    for name in sorted(set(said) & set(keys)):
        key = keys[name]
        words = " ".join(said[name].split())
        if key.least is not None and f"{key.least} to {key.most}" not in words:
            yield f"{page}: {name}: expected the range {key.least} to {key.most}"
        for default in key.defaults:
            if not re.search(rf"default\b.*\b{default}\b", words):
                yield f"{page}: {name}: expected the default {default}"


# --- schemas -------------------------------------------------------------------------------------


def schemas(project, _known):
    for name in project.schemas():
        try:
            schema = json.loads(project.read(name))
            if "$schema" not in schema:
                yield f"{name}: has no $schema, which names the version of JSON Schema"
            jsonschema.validators.validator_for(schema).check_schema(schema)
        except (ValueError, jsonschema.SchemaError) as error:
            yield f"{name}: is not a JSON schema: {str(error).splitlines()[0]}"
