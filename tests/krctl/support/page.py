"""A page of HTML, as a strict reader sees it."""

import re
from html.parser import HTMLParser

VOID = {"meta", "link", "br", "hr", "img", "input"}


class Page(HTMLParser):
    """Fails on what isn't balanced."""

    def __init__(self, source):
        super().__init__(convert_charrefs=True)
        self.source = source
        self.open = []
        self.elements = []  # of tag, attributes and pieces of text
        self.feed(source)
        self.close()
        assert not self.open, f"never closed: {[element[0] for element in self.open]}"

    def handle_starttag(self, tag, attrs):
        names = [name for name, _ in attrs]
        assert len(set(names)) == len(names), f"{tag} has an attribute twice: {names}"
        element = (tag, dict(attrs), [])
        self.elements.append(element)
        if tag not in VOID:
            self.open.append(element)

    def handle_startendtag(self, tag, attrs):
        assert self.open and any(element[0] == "svg" for element in self.open), tag
        self.elements.append((tag, dict(attrs), []))

    def handle_endtag(self, tag):
        assert self.open and self.open[-1][0] == tag, f"</{tag}> closes {self.open[-1:]}"
        self.open.pop()

    def handle_data(self, data):
        for element in self.open:
            element[2].append(data)

    def texts(self, tag, **attributes):
        """Of the elements of this name that have these attributes; `class_` for class."""
        wanted = {name.rstrip("_").replace("_", "-"): value for name, value in attributes.items()}
        return ["".join(pieces) for name, has, pieces in self.elements
                if name == tag and wanted.items() <= has.items()]

    def text(self):
        return " ".join(self.texts("body"))

    def rows(self):
        """The cells of the table, its head first."""
        rows = []
        for tag, _, pieces in self.elements:
            if tag == "tr":
                rows.append([])
            elif tag in ("th", "td"):
                rows[-1].append("".join(pieces))
        return rows

    def cells(self, kind):
        """How many days the calendars show so: "h" are holes, "k" drift, "p" additions."""
        legend = self.source.index("</ul>", self.source.index('<ul class="legend">'))
        paths = re.findall(rf'<path class="(?:c )?{kind}" d="([^"]*)"', self.source[legend:])
        return sum(int(days) for path in paths for days in re.findall(r"h(\d+)", path))

    def hints(self):
        """What the pointer finds over the calendars."""
        return self.texts("title")[1:]

    def markup(self):
        """The source without the texts that are shown."""
        return re.sub(r">[^<]+<(?!/style)", "><", self.source)
