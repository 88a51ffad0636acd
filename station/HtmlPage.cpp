#include "HtmlPage.h"

namespace
{
// Long names wrap and wide tables shrink, so no page scrolls sideways.
const char* const c_Style =
    "body{font-family:sans-serif;margin:16px;color:#111}"
    "table{border-collapse:collapse;margin-bottom:16px}"
    "td,th{border:1px solid #888;padding:4px 8px;text-align:left;vertical-align:top;overflow-wrap:anywhere}"
    "table.grid{width:100%;table-layout:fixed}"
    "td.met{background:#8fd19e}td.unmet{background:#f19a94}td.timeout{background:#f6c26b}td.missing{background:#ddd}"
    "td a{color:#111;display:block}p.facts{line-height:1.5}"
    "code{overflow-wrap:anywhere}pre{background:#f4f4f4;padding:8px;overflow-x:auto}"
    "svg{max-width:100%;height:auto}";
}

QString CHtmlPage::Escape(const QString& text)
{
    return text.toHtmlEscaped();
}

const char* CHtmlPage::Style()
{
    return c_Style;
}

QString CHtmlPage::Page(const QString& title, const QString& body, const QString& style)
{
    // Joined, not arg()ed: a "%1" in the body stays as it is.
    return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + Escape(title) +
           "</title><style>" + c_Style + style + "</style></head>\n<body>\n<h1>" + Escape(title) + "</h1>\n" + body +
           "</body></html>\n";
}
