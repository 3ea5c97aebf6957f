"""The parts of Markdown documents that the checks need: code, links, settings."""

import re


def _lines(text):
    """Yields each line with the language of its block; None in prose."""
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
    """Returns the code within prose; a span may be broken over two lines."""
    return [re.sub(r"\s+", " ", span) for span in re.findall(r"`([^`]+)`", prose(text))]


def blocks(text):
    """Returns the lines of code other than settings."""
    return [line for language, line in _lines(text) if language not in (None, "toml")]


def links(text):
    return [target.split("#")[0] for target in re.findall(r"\]\(([^)\s]+)\)", prose(text))
            if "://" not in target and not target.startswith("#")]


def settings(text):
    """Returns the blocks of TOML."""
    return re.findall(r"^```toml\n(.*?)^```", text, re.M | re.S)
