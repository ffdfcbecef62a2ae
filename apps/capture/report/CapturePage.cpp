#include "report/CapturePage.h"

#include "pictures/SvgPlot.h"
#include "report/Utf8.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tamsel::capture {

namespace {

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Capture</title>
<style>
:root { color-scheme: light dark; --quiet: #5b626b; --line: #757b8340; }
@media (prefers-color-scheme: dark) { :root { --quiet: #a2a9b1; } }
body { font: 16px/1.5 system-ui, sans-serif; overflow-wrap: anywhere;
  max-width: 63rem; margin: 0 auto; padding: 1rem 1rem 3rem; }
h1, .problem { padding: .6rem 1rem; border-left: .4rem solid #b45309; background: #b4530918; }
h1 { font-size: 1.3rem; margin: .5rem 0; text-wrap: balance; }
h1.good { border-color: #2f855a; background: #2f855a18; }
h2 { font-size: 1.1rem; margin: 2rem 0 .6rem; }
figure { margin: 0; } figcaption, .facts, time, details p { color: var(--quiet); font-size: .9rem; }
img, video { display: block; max-width: 100%; max-height: 85vh; }
figcaption { margin-top: .4rem; }
.plot { width: 100%; max-height: none; }
.sheet { overflow-x: auto; } .sheet img { max-width: none; max-height: none; }
.pair { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(18rem, 100%), 1fr)); gap: 0 1.5rem; }
table { border-collapse: collapse; } td { padding: .15rem 1.5rem .15rem 0; } td + td { text-align: right; }
td.part { padding-left: 1.5rem; }
ol { list-style: none; padding: 0; margin: 0 0 .6rem; }
li { display: grid; grid-template-columns: 4.5rem 1fr; gap: 1rem; padding: .3rem 0; border-top: 1px solid var(--line); }
time { text-align: right; line-height: 1.6rem; font-variant-numeric: tabular-nums; }
summary { cursor: pointer; } details:not([open]) summary { max-height: 4.5em; overflow: hidden; }
details p { margin: 0; }
</style>
</head>
<body>
)";

std::string escaped(std::string_view text)
{
    constexpr std::array<std::pair<char, const char*>, 4> entities{
        {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}}};
    std::string result;
    for (const char character : printable(text)) {
        const auto* entity = std::ranges::find(entities, character, &std::pair<char, const char*>::first);
        result += entity == entities.end() ? std::string(1, character) : entity->second;
    }
    return result;
}

std::string link(const std::string& file)
{
    return "<a href=\"" + file + "\">" + file + "</a>";
}

std::string figure(const std::string& content, const CapturePage::File& file)
{
    return "<figure>" + content + "<figcaption>" + link(file.name)
        + (file.facts.empty() ? "" : ": " + escaped(file.facts)) + "</figcaption></figure>\n";
}

std::string picture(const std::string& file, const std::string& alternative, const std::string& kind = "")
{
    return "<img class=\"" + kind + "\" src=\"" + file + "\" alt=\"" + alternative + "\">";
}

std::string heading(const std::string& text)
{
    return "<h2>" + text + "</h2>\n";
}

std::string ledgerTable(const std::vector<LedgerRow>& rows)
{
    std::string table = "<table>\n";
    for (const LedgerRow& row : rows)
        table += std::string("<tr><td") + (row.isPart ? " class=\"part\"" : "") + ">" + escaped(row.name)
            + "</td><td>" + std::to_string(row.frames) + "</td></tr>\n";
    return table + "</table>\n";
}

std::string listOf(const std::vector<CapturePage::Event>& events)
{
    std::string list = "<ol>\n";
    for (const auto& [time, text, details] : events)
        list += formatted("<li><time>%.2f s</time>", time)
            + (details.empty() ? "<span>" + escaped(text) + "</span>"
                               : "<details><summary>" + escaped(text) + "</summary><p>" + escaped(details)
                        + "</p></details>")
            + "</li>\n";
    return list + "</ol>\n";
}

} // namespace

std::string htmlOf(const CapturePage& page)
{
    std::string html(head);
    html += std::string("<h1") + (page.isGood ? " class=\"good\"" : "") + ">" + escaped(page.outcome)
        + "</h1>\n";
    if (!page.problem.empty())
        html += "<p class=\"problem\">" + escaped(page.problem) + "</p>\n";
    html += "<p class=\"facts\">Waited for: "
        + (page.conditions.empty() ? "nothing" : escaped(page.conditions)) + ".</p>\n";

    html += "<div class=\"pair\">\n";
    if (!page.still.name.empty())
        html += "<div>" + heading("Still") + figure(picture(page.still.name, "The still"), page.still)
            + "</div>\n";
    if (!page.film.name.empty())
        html += "<div>" + heading("Film")
            + figure("<video controls src=\"" + page.film.name + "\""
                    + (page.still.name.empty() ? "" : " poster=\"" + page.still.name + "\"") + "></video>",
                page.film)
            + "</div>\n";
    html += "</div>\n" + heading("Conditions over time")
        + figure(picture(page.plot,
                     "Motion, and which conditions held, over time; the list of events has the same in words",
                     "plot"),
            {page.plot, ""});
    if (!page.contactSheet.empty())
        html += heading("Frames and detections")
            + figure("<div class=\"sheet\">"
                    + picture(page.contactSheet, "Frames of the session with outlines of what was found")
                    + "</div>",
                {page.contactSheet, ""});
    html += heading("Events") + listOf(page.events)
        + "<p class=\"facts\">All events with their details: " + link(page.eventsFile) + "</p>\n";
    html += heading("Number of frames") + ledgerTable(page.ledger);
    return html + "</body>\n</html>\n";
}

} // namespace tamsel::capture
