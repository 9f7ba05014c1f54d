"""The documentation as HTML: every source has its page, every link inside leads to a page and an anchor that are there, every
page is reached from index.html, and nothing is fetched."""
import html.parser
import pathlib
import subprocess
import tempfile
import unittest
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parents[3]
FETCHING = {("link", "href"), ("script", "src"), ("img", "src"), ("iframe", "src"), ("source", "src"), ("video", "src")}


class Reader(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.anchors, self.twice, self.links, self.fetched, self.open, self.unbalanced = set(), [], [], [], [], []
        self.feed(text)
        self.unbalanced += self.open

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if tag not in ("meta", "link", "br", "hr", "img", "input"):
            self.open.append(tag)
        if "id" in values:
            (self.twice.append if values["id"] in self.anchors else self.anchors.add)(values["id"])
        if tag == "a":
            self.links.append(values.get("href", ""))
        self.fetched += [value for name, value in attributes if (tag, name) in FETCHING]

    def handle_startendtag(self, tag, attributes):
        self.handle_starttag(tag, attributes)

    def handle_endtag(self, tag):
        if self.open and self.open[-1] == tag:
            self.open.pop()
        else:
            self.unbalanced.append("/" + tag)


def faults(folder):
    """What is wrong with the pages of the folder, a line each."""
    pages = {path.name: Reader(path.read_text("utf-8")) for path in sorted(folder.glob("*.html"))}
    found, reached, todo = [], set(), ["index.html"]
    for name, page in pages.items():
        found += [f"{name}: the anchor {anchor} is there twice" for anchor in page.twice]
        found += [f"{name}: <{tag}> without its other half" for tag in page.unbalanced]
        found += [f"{name}: fetches {url}" for url in page.fetched if not (folder / url).is_file()]
        for link in page.links:
            target = urllib.parse.urlsplit(link)
            if target.scheme:
                continue
            of = target.path or name
            if of not in pages:
                found.append(f"{name}: there is no page {link}")
            elif target.fragment and urllib.parse.unquote(target.fragment) not in pages[of].anchors:
                found.append(f"{name}: there is no anchor {link}")
    while todo:
        name = todo.pop()
        if name in pages and name not in reached:
            reached.add(name)
            todo += [urllib.parse.urlsplit(link).path for link in pages[name].links]
    return found + [f"{name}: no way leads here" for name in sorted(set(pages) - reached)]


class HtmlDocs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        made = tempfile.TemporaryDirectory()
        cls.addClassCleanup(made.cleanup)
        cls.folder = pathlib.Path(made.name) / "a new one"
        subprocess.run([ROOT / "scripts/html-docs.sh", cls.folder], check=True)

    def shows(self, name, text):
        self.assertTrue(text in (self.folder / name).read_text("utf-8"), f"{name} has no {text}")

    def test_every_link_leads_somewhere_and_every_page_is_reached(self):
        self.assertEqual(faults(self.folder), [])

    def test_every_source_has_its_page(self):
        sources = [path.stem if path.suffix == ".md" else path.name for path in (ROOT / "docs").iterdir()]
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         sorted([f"{name}.html" for name in sources] +
                                ["index.html", "SECURITY.html", "samples.html", "style.css"]))

    def test_links_between_sources_are_links_between_pages(self):
        self.shows("reference.html", '<a href="SECURITY.html#what-the-line-can-do">')
        self.shows("terminal.html", '<a href="mova.1.html">mova.1</a>')
        self.shows("getting-started-windows.html",
                   '<a href="samples.html#vbscript/station.vbs"><code>samples\\vbscript\\station.vbs</code></a>')

    def test_what_is_no_page_is_plain_text(self):
        self.shows("index.html", "half an hour (tests/README.md).")
        for path in self.folder.glob("*.html"):
            self.assertFalse('.md"' in path.read_text("utf-8"), path.name)

    def test_tables_code_and_samples_are_there(self):
        self.shows("reference.html", "<td>used at the next open; 115200 at first</td>")
        self.shows("getting-started-windows.html", 'CreateObject(&quot;MovaCmdSvr.VeCmdManager&quot;)')
        self.shows("getting-started-windows.html", '<pre><code class="language-bat">')
        self.shows("samples.html", '<h2 id="vbscript/station.vbs">')
        self.shows("samples.html", "VERDICT: ")
        self.shows("mova.1.html", "<b>-p, --port PORT</b>")

    def test_planted_faults_are_found(self):
        with tempfile.TemporaryDirectory() as made:
            folder = pathlib.Path(made)
            (folder / "index.html").write_text(
                '<link href="https://example.org/style.css"><h1 id="a">A</h1><p id="a"><a href="b.html#gone">1</a>'
                '<a href="gone.html">2</a><a href="#gone">3</a><a href="https://example.org/">4</a></p><b>')
            (folder / "b.html").write_text('<h1 id="b">B</h1><a href="index.html#a">1</a>')
            (folder / "lost.html").write_text('<a href="b.html#b">1</a>')
            self.assertEqual(faults(folder), [
                "index.html: the anchor a is there twice", "index.html: <b> without its other half",
                "index.html: fetches https://example.org/style.css", "index.html: there is no anchor b.html#gone",
                "index.html: there is no page gone.html", "index.html: there is no anchor #gone",
                "lost.html: no way leads here"])


unittest.main()
