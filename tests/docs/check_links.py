"""Checks that no link of the pages below a folder leads nowhere.

  python3 -m docs.check_links FOLDER

The pages are the .md files, except those in build/ and in hidden folders. A
link to a file must stay within FOLDER, so that a copy of it is whole; with
#HEADING, that page must have the heading. Links to other hosts are not tried.

Prints each link that does not hold, and fails if there is one, or no link at
all.
"""

import pathlib
import re
import sys

from support.testkit import Failure, Misuse, status_of

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)|<(?:a href|img src)=\"([^\"]+)\"")
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)


def pages(folder):
    """The pages below `folder`."""
    for path in sorted(folder.rglob("*.md")):
        parts = path.relative_to(folder).parts
        if parts[0] != "build" and not any(p.startswith(".") for p in parts):
            yield path


def anchors(page):
    """The names that code hosts give to the headings of a page."""
    text = FENCE.sub("", page.read_text(encoding="utf-8"))
    headings = re.findall(r"^#+ +(.*?) *$", text, re.MULTILINE)
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


def main(arguments):
    if len(arguments) != 1:
        raise Misuse(__doc__)
    folder = pathlib.Path(arguments[0]).resolve()
    failed = count = 0
    found = list(pages(folder))
    for page in found:
        text = FENCE.sub("", page.read_text(encoding="utf-8"))
        for match in LINK.finditer(text):
            link = match.group(1) or match.group(2)
            wrong = complaint(folder, page, link)
            count += 1
            if wrong:
                print(f"{page.relative_to(folder)}: the link {link} {wrong}")
                failed += 1
    print(f"{len(found)} pages, {count} links")
    if failed or not count:
        raise Failure(f"{failed} of {count} links do not hold")


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
