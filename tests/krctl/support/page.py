"""A strict parser of HTML pages."""

import re
from html.parser import HTMLParser

VOID = {"meta", "link", "br", "hr", "img", "input"}


class Page(HTMLParser):
    """Fails if elements are not balanced."""

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
        """Returns the texts of the elements with this name and these attributes; `class_` for class."""
        wanted = {name.rstrip("_").replace("_", "-"): value for name, value in attributes.items()}
        return ["".join(pieces) for name, has, pieces in self.elements
                if name == tag and wanted.items() <= has.items()]

    def text(self):
        return " ".join(self.texts("body"))

    def rows(self):
        """Returns the cells of the table, the head first."""
        rows = []
        for tag, _, pieces in self.elements:
            if tag == "tr":
                rows.append([])
            elif tag in ("th", "td"):
                rows[-1].append("".join(pieces))
        return rows

    def cells(self, kind):
        """Returns the number of days that are drawn with this class, for example "h" for gaps."""
        legend = self.source.index("</ul>", self.source.index('<ul class="legend">'))
        paths = re.findall(rf'<path class="(?:c )?{kind}" d="([^"]*)"', self.source[legend:])
        return sum(int(days) for path in paths for days in re.findall(r"h(\d+)", path))

    def hints(self):
        """Returns the tooltips of the calendars."""
        return self.texts("title")[1:]

    def markup(self):
        """Returns the source without the displayed texts."""
        return re.sub(r">[^<]+<(?!/style)", "><", self.source)
