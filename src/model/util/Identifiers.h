#pragma once

#include <QRectF>
#include <QString>

// A new UUID in its canonical upper-case form (8-4-4-4-12 hexadecimal digits).
QString uniqueIDString();
// A rectangle as "{{x,y},{width,height}}" with four decimals each.
QString rectString(const QRectF &rect);
