#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// Links found in free text (event notes, locations, invitations), "mailto:"
// addresses and the domain of a web address.
//
// The detector finds web links with a scheme ("https://…", "ftp://…"),
// addresses that begin with "www." (given the scheme "http://"), e-mail
// addresses (given "mailto:") and links in angle brackets ("<https://…>").
// Punctuation that ends a sentence or closes an unbalanced parenthesis is not
// part of a link. The text is taken as plain text, line by line: indentation,
// list markers, backticks and the like never hide a link.

// Whether `text` holds a link anywhere.
bool isURL(const QString &text);
// The first link in `text`, with the characters that are illegal in URLs
// percent-escaped; none when there is none.
std::optional<QUrl> detectedURL(const QString &text);

// "mailto:" followed by the address in mail-to encoding (see
// stringByMailToEncoding()); none for none.
std::optional<QString> mailtoURIFromAddress(const std::optional<QString> &address);
// The address in a "mailto:" URI (the scheme is matched without regard to
// case; text without it is taken as the address), its escapes removed.
QString addressFromMailtoURI(const QString &uri);

// The domain a web address belongs to: the host without its first label when
// it has three or more labels ("calendar.example.com" → "example.com"), else
// the whole host. Numeric IPv4 and IPv6 hosts are returned whole.
QString domain(const QUrl &url);
