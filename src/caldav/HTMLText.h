#pragma once

#include <QString>

// The readable text of an HTML page (an error page of a server): no markup,
// no scripts or styles, entities decoded, blocks on lines of their own, runs
// of white space made one. The title counts as a block of its own.
namespace HTMLText {
QString plainText(const QString &html);
}
