"""Files of many kinds that all hold the same lines, each with one word that stands in no other."""

import os
import sqlite3
import subprocess

WORDS = """almond basalt candle dolphin ember falcon garnet harbour icicle jasmine kettle lantern marble nutmeg orchard
pepper quarry raven saddle thistle umbrella velvet walnut yarrow zephyr anchor beacon cedar domino fiddle gravel hazel
ivory juniper kayak lemon magnet needle olive pebble""".split()
SENTENCES = """The {} was left beside the northern gate in winter|Nobody could explain why the {} had moved again
Please bring one more {} before the meeting begins|Her brother painted the {} with borrowed colours
A small {} stood between two heavy wooden chairs|They sold the last {} for almost nothing at noon
Somebody wrote about a {} and forgot the ending|Every visitor asked whether the {} was real""".replace("\n", "|").split("|")


def lines(count):
    return [SENTENCES[number % len(SENTENCES)].format(word) for number, word in enumerate(WORDS[:count])]


def text(folder, count, name="notes.txt"):
    (folder / name).write_text("".join(line + "\n" for line in lines(count)))


def file_names(folder, count):
    """A folder of small files, each named by two words of its line, the first of them in no other."""
    (folder / "letters").mkdir()
    for word, line in zip(WORDS, lines(count)):
        (folder / "letters" / f"{word} {line.split()[-1]}").write_text(line)


def rows(folder, count):
    """A word in each cell, and a number at the end."""
    (folder / "notes.csv").write_text("".join(
        ",".join([*line.split(), str(37 * number % 1000)]) + "\n" for number, line in enumerate(lines(count))))


OFFICE = """<?xml version="1.0" encoding="UTF-8"?><office:document
 xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0" xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
 xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0" xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
 xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0"
 xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0" office:version="1.3"
 office:mimetype="application/vnd.oasis.opendocument.{kind}"><office:automatic-styles>
<style:page-layout style:name="P"><style:page-layout-properties fo:page-width="28cm" fo:page-height="21cm"/></style:page-layout>
<style:style style:name="T" style:family="paragraph"><style:text-properties fo:font-size="{size}pt"/></style:style>
</office:automatic-styles><office:master-styles><style:master-page style:name="M" style:page-layout-name="P"/>
</office:master-styles><office:body><office:{body}><draw:page draw:master-page-name="M">{frames}</draw:page></office:{body}>
</office:body></office:document>"""


def office(suffix, kind, body, columns):
    """A slide or a drawing with a text box for every few lines."""
    def prepare(folder, count):
        each = -(-count // columns)
        frames = "".join(
            f'<draw:frame svg:x="{1 + 26 / columns * column}cm" svg:y="1.5cm" svg:width="{26 / columns - 0.5}cm" '
            'svg:height="18cm"><draw:text-box>' + "".join(
                f'<text:p text:style-name="T">{line}</text:p>' for line in lines(count)[column * each:(column + 1) * each])
            + "</draw:text-box></draw:frame>" for column in range(columns))
        (folder / f"notes.{suffix}").write_text(
            OFFICE.format(kind=kind, body=body, frames=frames, size=20 if columns == 1 else 12))
    return prepare


def mail(folder, count):
    (folder / "notes.eml").write_text(
        "From: Isolde <isolde@example.org>\nTo: Tristan <tristan@example.org>\nSubject: Some lines from the harbourmaster\n"
        "Message-ID: <1@example.org>\nDate: Mon, 1 Jan 2024 00:00:00 +0000\nContent-Type: text/plain; charset=utf-8\n\n"
        + "".join(line + "\n" for line in lines(count)))


def canvas_page(folder, count):
    drawn = "".join(f"g.fillText({line!r}, 40, {40 + 22 * number});" for number, line in enumerate(lines(count)))
    (folder / "canvas.html").write_text(
        f"<!doctype html><meta charset=utf-8><title>Harbour chart</title><canvas id=c width=1400 height={60 + 22 * count}>"
        f"</canvas><script>const g = c.getContext('2d'); g.font = '16px DejaVu Sans'; {drawn}</script>")


PAINT = """
import sys
from PyQt6.QtGui import QColor, QFont, QGuiApplication, QImage, QPageSize, QPainter, QPdfWriter
application = QGuiApplication(sys.argv)
file, lines = sys.argv[1], sys.argv[2:]
if file.endswith(".pdf"):
    surface = QPdfWriter(file)
    surface.setPageSize(QPageSize(QPageSize.PageSizeId.A5))
    surface.setResolution(300)
    step, size = 55, 9
else:
    surface = QImage(1100, 26 * len(lines) + 40, QImage.Format.Format_RGB32)
    surface.fill(QColor("white"))
    step, size = 26, 13
painter = QPainter(surface)
painter.setFont(QFont("DejaVu Sans", size))
for number, line in enumerate(lines):
    painter.drawText(step, step * (number + 1), line)
painter.end()
if not file.endswith(".pdf"):
    surface.save(file)
"""


def painted(name):
    """A picture or a page, drawn."""
    def prepare(folder, count):
        subprocess.run(["/usr/bin/python3", "-c", PAINT, str(folder / name), *lines(count)], check=True,
                       env=dict(os.environ, QT_QPA_PLATFORM="offscreen"), stderr=subprocess.DEVNULL)
    return prepare


def svg(folder, count):
    body = "".join(f'<text x="20" y="{30 + 26 * number}" font-family="DejaVu Sans" font-size="16">{line}</text>'
                   for number, line in enumerate(lines(count)))
    (folder / "notes.svg").write_text(
        f'<svg xmlns="http://www.w3.org/2000/svg" width="800" height="{26 * count + 40}">{body}</svg>')


def dia(folder, count):
    objects = "".join(f"""<dia:object type="Standard - Text" version="1" id="O{number}">
<dia:attribute name="obj_pos"><dia:point val="2,{2 + 0.9 * number}"/></dia:attribute>
<dia:attribute name="text"><dia:composite type="text"><dia:attribute name="string"><dia:string>#{line}#</dia:string>
</dia:attribute><dia:attribute name="font"><dia:font family="sans" style="0" name="Helvetica"/></dia:attribute>
<dia:attribute name="height"><dia:real val="0.8"/></dia:attribute>
<dia:attribute name="pos"><dia:point val="2,{2 + 0.9 * number}"/></dia:attribute></dia:composite></dia:attribute></dia:object>"""
                      for number, line in enumerate(lines(count)))
    (folder / "notes.dia").write_text(
        '<?xml version="1.0" encoding="UTF-8"?><dia:diagram xmlns:dia="http://www.lysator.liu.se/~alla/dia/">'
        f'<dia:layer name="Background" visible="true" active="true">{objects}</dia:layer></dia:diagram>')


def database(folder, count):
    with sqlite3.connect(folder / "notes.db") as connection:
        connection.execute("CREATE TABLE letters(a TEXT, b TEXT, c TEXT, d TEXT, e TEXT, f TEXT, g TEXT)")
        connection.executemany("INSERT INTO letters VALUES (?, ?, ?, ?, ?, ?, ?)",
                               [line.split()[:7] for line in lines(count)])
    connection.close()


def repository(folder, count):
    """One commit for each line, the first of them the newest."""
    git = ["git", "-C", str(folder / "letters"), "-c", "user.name=Isolde", "-c", "user.email=isolde@example.org"]
    subprocess.run(["git", "init", "-q", str(folder / "letters")], check=True, stderr=subprocess.DEVNULL)
    for line in reversed(lines(count)):
        subprocess.run([*git, "commit", "-q", "--allow-empty", "-m", line], check=True)


def notebook(folder, count):
    (folder / "letters").mkdir()
    (folder / "letters/notebook.zim").write_text("[Notebook]\nversion=0.4\nname=Letters\nhome=Home\n")
    (folder / "letters/Home.txt").write_text(
        "Content-Type: text/x-zim-wiki\nWiki-Format: zim 0.6\n\n====== Home ======\n\n" + "\n".join(lines(count)) + "\n")


def two_texts(folder, count):
    text(folder, count)
    changed = lines(count)
    changed[3] = changed[3].replace("painted", "polished")
    (folder / "other.txt").write_text("".join(line + "\n" for line in changed))


def script(folder, count):
    (folder / "notes.py").write_text("".join(f"# {line}\n" for line in lines(count)))
