"""Puts the reports of all scans into tables and a page.

    group.py CONFIGURATION
"""

import html
import json
import statistics
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from cohort import bids, tools  # noqa: E402


def read_reports(config):
    """The report of each scan in the order of their names; of a scan without one a report that says so."""
    reports = []
    for scan in sorted(config["scans"], key=lambda entry: entry["key"]):
        path = Path(config["output_dir"]) / (scan["key"] + bids.REPORT)
        try:
            reports.append(json.loads(path.read_text(encoding="utf-8")))
        except (OSError, ValueError):
            reports.append({"image": scan["key"], "status": "failed", "reason": "no result: its job ended early"})
    return reports


def figures(report):
    """The figures of a scan by the names of their columns; none of a failed one."""
    if report["status"] != "done":
        return {}
    row = {}
    for tissue in report["classes"]:
        row[tissue["name"] + "_ml"] = tissue["soft_volume_ml"]
        row[tissue["name"] + "_labels_ml"] = tissue["volume_ml"]
        row[tissue["name"] + "_centroid"] = tissue["centroid"]
    row.update(noise=report["noise"], contrast=report["contrast"], contrast_to_noise=report["contrast_to_noise"],
               field=report.get("field"), dropped_voxels=report["dropped_voxels"])
    return row


def robust_z(rows, columns):
    """For each scan how far its strangest figure is from the median, in deviations estimated from the median's."""
    scores = [0.0] * len(rows)
    for column in columns:
        values = [row[column] for row in rows if row.get(column) is not None]
        if len(values) < 3:
            continue
        middle = statistics.median(values)
        spread = 1.4826 * statistics.median(abs(value - middle) for value in values)
        for i, row in enumerate(rows):
            if row.get(column) is not None and spread > 0:
                scores[i] = max(scores[i], abs(row[column] - middle) / spread)
    return scores


def text_of(value):
    if value is None or value == "":
        return "n/a"
    return f"{value:.6g}" if isinstance(value, float) else str(value)


def write_table(manifest, path, rows):
    """A table with tabs between its columns, as BIDS has them."""
    columns = list(dict.fromkeys(column for row in rows for column in row))
    lines = ["\t".join(columns)]
    for row in rows:
        lines.append("\t".join(text_of(row.get(column)).replace("\t", " ").replace("\n", " ") for column in columns))
    manifest.write(path, "\n".join(lines) + "\n")


def texture_rows(reports):
    for report in reports:
        for label, features in report.get("texture", {}).items():
            yield {"scan": report["image"], "label": label, **features}


def resource_rows(config, reports):
    for report in reports:
        path = Path(config["output_dir"]) / (report["image"] + bids.RESOURCES)
        try:
            yield {"scan": report["image"], **json.loads(path.read_text(encoding="utf-8"))}
        except (OSError, ValueError):
            yield {"scan": report["image"]}


TABLES = ("volumes.tsv", "texture.tsv", "resources.tsv", "report/index.html")


def require_ours(config):
    """Raises StepFailed when somebody has changed a table since it was written."""
    output = Path(config["output_dir"])
    tools.Manifest(output, "tables").require_ours([output / name for name in TABLES])


PAGE = """<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<title>Cohort of {count} scans</title><style>
body {{ font: 15px/1.4 sans-serif; margin: 1em; color-scheme: light dark; }}
table {{ border-collapse: collapse; }} td, th {{ border: 1px solid #8888; padding: .3em .6em; text-align: right; }}
th {{ position: sticky; top: 0; background: Canvas; }} th button {{ all: unset; cursor: pointer; font-weight: bold; }}
th button:focus-visible {{ outline: 2px solid; }} td:first-child {{ text-align: left; }} tr.failed {{ color: #c33; }}
img {{ max-width: 480px; max-height: 160px; }}
</style></head><body><h1>Cohort of {count} scans</h1><p>{done} done, {failed} failed; version {version}. Outliers stand
first: z is the strangest figure's distance from the median, in robust deviations. A click on a heading sorts.</p>
<table><thead><tr>{head}</tr></thead><tbody>
{body}
</tbody></table><script>
document.querySelectorAll("th button").forEach((button, column) => button.addEventListener("click", () => {{
  const body = document.querySelector("tbody"), key = row => row.cells[column].dataset.value ?? row.cells[column].innerText;
  const sign = button.dataset.sign = button.dataset.sign === "1" ? -1 : 1;
  const number = text => text === "" || isNaN(text) ? null : Number(text);
  [...body.rows].sort((a, b) => {{
    const x = key(a), y = key(b), m = number(x), n = number(y);
    return sign * (m !== null && n !== null ? m - n : String(x).localeCompare(String(y)));
  }}).forEach(row => body.append(row));
}}));
</script></body></html>
"""


def cell(value):
    return f'<td data-value="{html.escape(text_of(value) if value is not None else "")}">{html.escape(text_of(value))}</td>'


def write_page(manifest, config, reports, rows, scores):
    """One row a scan with its picture, the strangest first; failed ones before all."""
    folder = Path(config["output_dir"]) / "report"
    columns = list(dict.fromkeys(column for row in rows for column in row))
    order = sorted(range(len(rows)), key=lambda i: (reports[i]["status"] == "done", -scores[i], reports[i]["image"]))
    body = []
    for i in order:
        name = Path(reports[i]["image"]).name
        picture = folder / "mosaics" / (name + ".png")
        shown = (f'<td><img loading="lazy" src="mosaics/{html.escape(name)}.png" alt="{html.escape(name)}"></td>'
                 if reports[i]["status"] == "done" and picture.is_file()
                 else f'<td>{html.escape(reports[i]["reason"])}</td>')
        body.append(f'<tr class="{reports[i]["status"]}">' + cell(reports[i]["image"]) + shown + cell(round(scores[i], 2)) +
                    "".join(cell(rows[i].get(column)) for column in columns) + "</tr>")
    head = "".join(f'<th scope="col"><button>{html.escape(name)}</button></th>' for name in ["scan", "picture", "z", *columns])
    done = sum(report["status"] == "done" for report in reports)
    manifest.write(folder / "index.html", PAGE.format(
        count=len(reports), done=done, failed=len(reports) - done, head=head, body="\n".join(body),
        version=html.escape(config["settings"]["version"])))


def write(config):
    """All tables and the page."""
    output = Path(config["output_dir"])
    reports = read_reports(config)
    rows = [figures(report) for report in reports]
    columns = [column for column in dict.fromkeys(column for row in rows for column in row)
               if not column.endswith(("_labels_ml", "_centroid", "_voxels"))]
    scores = robust_z(rows, columns)
    manifest = tools.Manifest(output, "tables")
    write_table(manifest, output / "volumes.tsv", [
        {"scan": report["image"], "status": report["status"], "reason": report["reason"], "z": score, **row}
        for report, score, row in zip(reports, scores, rows)])
    write_table(manifest, output / "texture.tsv", list(texture_rows(reports)) or [{"scan": "n/a"}])
    write_table(manifest, output / "resources.tsv", list(resource_rows(config, reports)))
    write_page(manifest, config, reports, rows, scores)


if __name__ == "__main__":
    write(json.loads(Path(sys.argv[1]).read_text(encoding="utf-8")))
