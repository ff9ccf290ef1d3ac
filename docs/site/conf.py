"""How Sphinx makes the site, from the folder that scripts/docs.sh gathers."""

import re
from pathlib import Path

VERSION = Path(__file__).parents[2] / "include/nivra/version.h"

project = "nivra"
release = ".".join(re.findall(r"NIVRA_VERSION_\w+ (\d+)", VERSION.read_text()))

extensions = ["myst_parser", "sphinx.ext.autodoc"]
autodoc_member_order = "bysource"
autodoc_typehints = "description"
autodoc_typehints_description_target = "documented"
exclude_patterns = ["docs/site"]
myst_heading_anchors = 3
highlight_language = "text"
smartquotes = False

html_theme = "furo"
html_title = f"nivra {release}"
html_copy_source = False
html_show_copyright = False
