// What every HTML page of the station shares: its style, its frame and the
// escaping of text that came from outside.
#pragma once

#include <QString>

class CHtmlPage
{
public:
    // Text as HTML, quotes included, so it is safe inside an attribute too.
    static QString Escape(const QString& text);
    // A whole page: TITLE escaped, BODY as it is, STYLE added to the common one.
    static QString Page(const QString& title, const QString& body, const QString& style = QString());
    static const char* Style();
};
