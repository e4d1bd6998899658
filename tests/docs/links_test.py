"""No link of the pages leads nowhere, here and where the pages are installed.

The pages are the .md files, except those in build/ and in hidden folders. A link to a
file must stay within the folder, so that a copy of it is whole; with #HEADING, that
page must have the heading. Links to other hosts are not tried.
"""

import re

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)|<(?:a href|img src)=\"([^\"]+)\"")
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)


def pages(folder):
    """The pages below `folder`. What other tests write in build/ is not looked at."""
    for top in sorted(folder.iterdir()):
        if top.name != "build":
            for path in sorted(top.rglob("*.md")) if top.is_dir() else [top]:
                hidden = any(p.startswith(".") for p in path.relative_to(folder).parts)
                if path.suffix == ".md" and not hidden:
                    yield path


def links(page):
    """The links of a page, without those in its code blocks."""
    text = FENCE.sub("", page.read_text())
    return [match.group(1) or match.group(2) for match in LINK.finditer(text)]


def anchors(page):
    """The names that code hosts give to the headings of a page."""
    headings = re.findall(r"^#+ +(.*?) *$", FENCE.sub("", page.read_text()), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def complaint(folder, page, link):
    """What is wrong with one link of a page, or None."""
    if re.match(r"[a-z]+:", link):
        return None
    path, _, heading = link.partition("#")
    target = (page.parent / path).resolve() if path else page
    if not target.is_relative_to(folder):
        return "leads out of the folder"
    if not target.exists():
        return "leads nowhere"
    if heading and heading not in anchors(target):
        return "names a heading that the page does not have"
    return None


def expect_links_hold(folder):
    folder = folder.resolve()
    found = [(page, link) for page in pages(folder) for link in links(page)]
    assert found
    wrong = [
        f"{page.relative_to(folder)}: the link {link} {complaint(folder, page, link)}"
        for page, link in found
        if complaint(folder, page, link)
    ]
    assert not wrong


def test_links_of_the_tree_hold(source):
    expect_links_hold(source)


def test_links_of_the_installed_pages_hold(prefix):
    expect_links_hold(prefix / "share/doc/qarn-rpc-gen")
