"""Documents in Markdown, as far as the checks need them: code, links, settings."""

import re


def _lines(text):
    """Each line with the language of the block that it is in; None in prose."""
    language = None
    for line in text.splitlines():
        fence = re.match(r"\s*```(\w*)", line)
        if fence:
            language = (fence[1] or "text") if language is None else None
        else:
            yield language, line


def prose(text):
    return "\n".join("" if language else line for language, line in _lines(text))


def spans(text):
    """Code within prose; a span may be broken over two lines."""
    return [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", prose(text))]


def blocks(text):
    """Lines of code that are no settings."""
    return [line for language, line in _lines(text) if language not in (None, "toml")]


def links(text):
    return [target.split("#")[0] for target in re.findall(r"\]\(([^)\s]+)\)", prose(text))
            if "://" not in target and not target.startswith("#")]


def settings(text):
    """SECTION.KEY of every settings key in a block, also of those that are commented out."""
    section = None
    for language, line in _lines(text):
        if language != "toml":
            section = None
            continue
        line = re.sub(r"^\s*#\s?", "", line)
        heading = re.match(r"\[(\w+)\]\s*(#|$)", line)
        key = re.match(r"(\w+)\s*= ?\S", line)
        if heading:
            section = heading[1]
            yield section + "."
        elif key and section:
            yield f"{section}.{key[1]}"
            for inner in re.findall(r"[{,]\s*(\w+) = ", line.split("#")[0]):
                yield f"{section}.{key[1]}.{inner}"
