#!/usr/bin/env python3
"""html-docs.py OUTPUT_FOLDER: called by html-docs.sh, which says what it makes.

The converters are cmark-gfm and mandoc. Added here: anchors at the headings, named as where the sources are shown otherwise;
links from page to page, also from the name of a sample; the frame with the list of pages. A link to a file that is no page
becomes plain text.
"""
import html
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
SAMPLES = "samples.html"
STYLE = """\
:root { color-scheme: light dark; --ground: #fff; --text: #1f2328; --faint: #59636e; --edge: #d1d9e0; --raised: #f6f8fa;
        --link: #0969da; }
@media (prefers-color-scheme: dark) {
    :root { --ground: #0d1117; --text: #e6edf3; --faint: #9198a1; --edge: #3d444d; --raised: #161b22; --link: #58a6ff; }
}
* { box-sizing: border-box; }
body { margin: 0; display: flex; background: var(--ground); color: var(--text);
       font: 16px/1.55 system-ui, -apple-system, "Segoe UI", "Noto Sans", Arial, sans-serif; }
nav { flex: 0 0 17rem; height: 100vh; position: sticky; top: 0; overflow-y: auto; padding: 1.5rem 1rem;
      border-right: 1px solid var(--edge); background: var(--raised); font-size: .9rem; }
nav ul { list-style: none; margin: 0; padding: 0; }
nav ul ul { margin: .2rem 0 .5rem; padding-left: .9rem; }
nav li { margin: .2rem 0; }
nav [aria-current] { font-weight: 600; color: var(--text); }
main { flex: 1; min-width: 0; max-width: 60rem; padding: 1.5rem 2.5rem 4rem; }
a { color: var(--link); text-decoration: none; }
a:hover { text-decoration: underline; }
h1, h2, h3 { line-height: 1.25; margin: 2rem 0 .8rem; }
h1 { margin-top: 0; }
h1, h2 { padding-bottom: .3rem; border-bottom: 1px solid var(--edge); }
h2 { font-size: 1.4rem; }
h3 { font-size: 1.15rem; }
code, pre { font: .875em/1.45 ui-monospace, Consolas, "Liberation Mono", Menlo, monospace; }
code { background: var(--raised); border: 1px solid var(--edge); border-radius: 4px; padding: .1em .3em; }
pre { background: var(--raised); border: 1px solid var(--edge); border-radius: 6px; padding: .8rem 1rem; overflow-x: auto; }
pre code { border: 0; padding: 0; font-size: 1em; }
.wide { overflow-x: auto; }
table { border-collapse: collapse; margin: 1rem 0; }
th, td { border: 1px solid var(--edge); padding: .35rem .7rem; text-align: left; vertical-align: top; }
thead:not(:has(th:not(:empty))) { display: none; }
th { background: var(--raised); }
dt { margin-top: .6rem; }
dd { margin-left: 2rem; }
main a.permalink { color: inherit; }
@media (max-width: 50rem) {
    body { display: block; }
    nav { position: static; height: auto; border-right: 0; border-bottom: 1px solid var(--edge); }
    nav ul ul { display: none; }
    main { padding: 1rem; }
}
@media print { nav { display: none; } }
"""
FRAME = """\
<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{title}</title>
<link rel="stylesheet" href="style.css">
</head>
<body>
<nav>
<ul>
{pages}
</ul>
</nav>
<main>
{body}
</main>
</body>
</html>
"""


def output_of(command, text):
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, check=True, encoding="utf-8").stdout


def plain(markup):
    return html.unescape(re.sub(r"<[^>]*>", "", markup))


class Anchors:
    """A heading's anchor, as where the sources are shown otherwise: its words in lower case, the second of a name numbered."""

    def __init__(self):
        self.taken = {}

    def of(self, heading):
        name = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        again = self.taken.get(name, 0)
        self.taken[name] = again + 1
        return f"{name}-{again}" if again else name


class Page:
    def __init__(self, source, name, title, body, sections):
        self.source, self.name, self.title, self.body = source, name, title, body
        self.sections = sections  # (anchor, heading)


def markdown_page(path, name):
    body = output_of(["cmark-gfm", "-e", "table", "-e", "strikethrough", "-t", "html"], path.read_text("utf-8"))
    anchors, sections, titles = Anchors(), [], []

    def mark(found):
        level, heading = found[1], plain(found[2])
        anchor = anchors.of(heading)
        if level == "1":
            titles.append(heading)
        elif level == "2":
            sections.append((anchor, heading))
        return f'<h{level} id="{html.escape(anchor)}">{found[2]}</h{level}>'

    body = re.sub(r"<h([1-6])>(.*?)</h\1>", mark, body, flags=re.DOTALL)
    body = body.replace("<table>", '<div class="wide"><table>').replace("</table>", "</table></div>")
    return Page(path, name, titles[0], body, sections)


def manual_page(path, name):
    body = output_of(["mandoc", "-T", "html", "-O", "fragment"], path.read_text("utf-8"))
    body = re.sub(r'<table class="(?:head|foot)">.*?</table>', "", body, flags=re.DOTALL)
    body = re.sub(r"<(/?)h([12])\b", lambda found: f"<{found[1]}h{int(found[2]) + 1}", body)
    sections = [(html.unescape(anchor), " ".join(plain(heading).split()))
                for anchor, heading in re.findall(r'<h2[^>]* id="([^"]*)">(.*?)</h2>', body, re.DOTALL)]
    title = f"{path.stem}({path.suffix[1:]})"
    return Page(path, name, title, f"<h1>{title}</h1>\n{body}", sections)


def samples():
    return [path for path in sorted((ROOT / "samples").rglob("*"))
            if path.is_file() and path.name != "CMakeLists.txt" and "__pycache__" not in path.parts]


def samples_page():
    parts, sections = ["<h1>Samples</h1>"], []
    for path in samples():
        anchor = path.relative_to(ROOT / "samples").as_posix()
        sections.append((anchor, anchor))
        text = html.escape(path.read_text("utf-8", errors="replace"), quote=False)
        parts.append(f'<h2 id="{anchor}">{anchor}</h2>\n<pre><code>{text}</code></pre>')
    return Page(ROOT / "samples", SAMPLES, "Samples", "\n".join(parts), sections)


def linked_first(readme, names):
    """The pages' sources in the order in which the README names them, the others behind."""
    order = {}
    for target in re.findall(r"\]\(([^)#]+)", readme.read_text("utf-8")):
        order.setdefault((ROOT / target).resolve(), len(order))
    return sorted(names, key=lambda path: (order.get(path, len(order)), path))


def with_links(page, names):
    """names: of the pages, by their sources."""
    def follow(found):
        target, text = html.unescape(found[1]), found[2]
        if re.match(r"[a-z]+:", target):
            return found[0]
        path, mark, anchor = target.partition("#")
        if not path:
            return found[0]
        name = names.get((page.source.parent / path).resolve())
        return f'<a href="{html.escape(name + mark + anchor)}">{text}</a>' if name else text

    def name_sample(found):
        path = found[1].replace("\\", "/").rstrip("/")
        if path == "samples":
            return f'<a href="{SAMPLES}">{found[0]}</a>'
        if ROOT / path not in samples():
            return found[0]
        return f'<a href="{SAMPLES}#{path.removeprefix("samples/")}">{found[0]}</a>'

    body = re.sub(r'<a href="([^"]*)">(.*?)</a>', follow, page.body, flags=re.DOTALL)
    return re.sub(r"<code>(samples[\\/][^<]*)</code>", name_sample, body)


def entry(page, current):
    if page is not current:
        return f'<li><a href="{page.name}">{html.escape(page.title)}</a></li>'
    below = "".join(f'\n<li><a href="#{html.escape(anchor)}">{html.escape(heading)}</a></li>'
                    for anchor, heading in page.sections)
    return (f'<li><a href="{page.name}" aria-current="page">{html.escape(page.title)}</a>'
            + (f"\n<ul>{below}\n</ul>" if below else "") + "</li>")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    readme = ROOT / "README.md"
    sources = [readme, ROOT / "SECURITY.md", *(ROOT / "docs").glob("*.md"), *(ROOT / "docs").glob("*.1")]
    names = {path: path.name + ".html" if path.suffix == ".1" else path.stem + ".html" for path in sources}
    names[readme] = "index.html"
    pages = [markdown_page(readme, names[readme])]
    for path in linked_first(readme, [path for path in sources if path != readme]):
        pages.append((manual_page if path.suffix == ".1" else markdown_page)(path, names[path]))
    pages.append(samples_page())

    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "style.css").write_text(STYLE, "utf-8", newline="\n")
    for page in pages:
        entries = "\n".join(entry(other, page) for other in pages)
        text = FRAME.format(title=html.escape(page.title), pages=entries, body=with_links(page, names))
        (folder / page.name).write_text(text, "utf-8", newline="\n")


main()
