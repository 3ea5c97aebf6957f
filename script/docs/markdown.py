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
    """The blocks of TOML."""
    return re.findall(r"^```toml\n(.*?)^```", text, re.M | re.S)
