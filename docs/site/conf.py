# How the reference becomes pages: Sphinx with the theme furo, which has light and dark and fits a phone. Its search needs
# no server, so that the pages work from a folder.
import re
from pathlib import Path

from sphinx import addnodes

project = "rovk_message"
extensions = ["myst_parser"]
html_theme = "furo"
html_title = "rovk_message"
html_static_path = ["_static"]
html_css_files = ["rovk.css"]
# Excerpts would be fetched, which a browser refuses for pages of a folder.
html_show_search_summary = False
html_show_sphinx = False
html_show_copyright = False
html_copy_source = False
html_use_index = True
highlight_language = "none"
pygments_style = "friendly"
pygments_dark_style = "monokai"
myst_heading_anchors = 3
suppress_warnings = ["myst.header"]


def name_alone(env, signature, node):
    """The name before " = 5" is what is searched; all of it is shown."""
    node += addnodes.desc_name(signature, signature)
    return signature.split(" ")[0]


def join_files(app, failed):
    """Debian's furo leaves its script as modules and its style with an import from a web server's root, neither of which
    a browser loads from a folder: in one piece they work. Its style has also lost the dark colours of a browser that is
    dark by itself; they are the same as those of the button."""
    if failed:
        return
    static = Path(app.outdir, "_static")
    script, scroll = static / "scripts/furo.js", static / "scripts/gumshoe-patched.js"
    text = script.read_text()
    if "import Gumshoe" in text:
        lines = [line for line in text.splitlines() if not line.startswith("import ")]
        script.write_text(scroll.read_text() + "\n" + "\n".join(lines))
    style, normalize = static / "styles/furo.css", Path("/usr/share/nodejs/normalize.css/normalize.css")
    if normalize.exists():
        wanted = "@import url(/javascript/normalize.css/normalize.css);"
        style.write_text(style.read_text().replace(wanted, normalize.read_text()))
    text = style.read_text()
    dark = re.search(r'body\[data-theme="dark"\] \{([^}]*--color-background-primary[^}]*)\}', text)
    if "prefers-color-scheme" not in text and dark:
        with style.open("a") as out:
            out.write('@media (prefers-color-scheme: dark) { body:not([data-theme="light"]) {%s} }\n' % dark[1])


def setup(app):
    app.connect("build-finished", join_files)
    for kind in ("command", "event", "error", "constant", "record", "function"):
        app.add_object_type(kind, kind, indextemplate="pair: %%s; %s" % kind, parse_node=name_alone)
