#include "report/CapturePage.h"

#include "report/Utf8.h"

#include <algorithm>
#include <string_view>

namespace tamsel::capture {

namespace {

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Capture</title>
<style>
:root { color-scheme: light dark; }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 62rem; margin: 2rem auto; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.1rem; margin-top: 2.2rem; }
.outcome { padding: .6rem 1rem; border-left: .4rem solid #b45309; background: #b4530918; }
.outcome.good { border-color: #2f855a; background: #2f855a18; }
img, video { max-width: 100%; height: auto; border-radius: .3rem; }
figure { margin: 0; } figcaption, .facts { color: #757b83; font-size: .9rem; }
.pair { display: grid; grid-template-columns: repeat(auto-fit, minmax(18rem, 1fr)); gap: 1.5rem; }
table { border-collapse: collapse; } td { padding: .15rem 1.5rem .15rem 0; } td + td { text-align: right; }
td.part { padding-left: 1.5rem; }
pre { max-height: 24rem; overflow: auto; padding: .8rem; font-size: .8rem; background: #757b8318; }
</style>
</head>
<body>
<h1>Capture</h1>
)";

std::string escaped(std::string_view text)
{
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += character;
        }
    }
    return result;
}

std::string figure(std::string_view content, const CapturePage::File& file)
{
    return std::string("<figure>")
        .append(content)
        .append("<figcaption><a href=\"")
        .append(escaped(file.name))
        .append("\">")
        .append(escaped(file.name))
        .append("</a>")
        .append(file.facts.empty() ? "" : ": " + escaped(printable(file.facts)))
        .append("</figcaption></figure>\n");
}

std::string picture(const CapturePage::File& file, std::string_view alternative)
{
    return figure("<img src=\"" + escaped(file.name) + "\" alt=\"" + std::string(alternative) + "\">", file);
}

std::string heading(std::string_view text)
{
    return std::string("<h2>").append(text).append("</h2>\n");
}

std::string ledgerTable(const std::vector<LedgerRow>& rows)
{
    std::string table = "<table>\n";
    for (const LedgerRow& row : rows)
        table += std::string("<tr><td") + (row.isPart ? " class=\"part\"" : "") + ">" + escaped(row.name)
            + "</td><td>" + std::to_string(row.frames) + "</td></tr>\n";
    return table + "</table>\n";
}

} // namespace

std::string htmlOf(const CapturePage& page)
{
    std::string html(head);
    html += std::string("<p class=\"outcome") + (page.isGood ? " good" : "") + "\">"
        + escaped(printable(page.outcome)) + "</p>\n";
    if (!page.problem.empty())
        html += "<p class=\"outcome\">" + escaped(printable(page.problem)) + "</p>\n";
    html += "<p class=\"facts\">Waited for: "
        + (page.conditions.empty() ? "nothing" : escaped(page.conditions)) + ".</p>\n";

    html += "<div class=\"pair\">\n";
    if (!page.still.name.empty())
        html += "<div>" + heading("The still") + picture(page.still, "The still") + "</div>\n";
    if (!page.film.name.empty())
        html += "<div>" + heading("The film")
            + figure("<video controls src=\"" + escaped(page.film.name) + "\""
                    + (page.still.name.empty() ? "" : " poster=\"" + escaped(page.still.name) + "\"")
                    + "></video>",
                page.film)
            + "</div>\n";
    html += "</div>\n";
    if (!page.contactSheet.empty())
        html += heading("What the camera saw, and what was found in it")
            + picture({page.contactSheet, ""}, "Frames of the session with outlines of what was found");
    html += heading("Verdicts over time")
        + picture({page.plot, ""}, "Motion, verdicts and findings over time");
    html += heading("What became of the frames") + ledgerTable(page.ledger);
    html += heading("Events")
        + figure("<pre>" + escaped(page.events.facts) + "</pre>", {page.events.name, ""});
    return html + "</body>\n</html>\n";
}

} // namespace tamsel::capture
