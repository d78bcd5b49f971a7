#include "model/util/Identifiers.h"

#include <QUuid>

#include "model/foundation/Format.h"

QString uniqueIDString() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString rectString(const QRectF &rect) {
    return format("{{%.4f,%.4f},{%.4f,%.4f}}", rect.x(), rect.y(), rect.width(), rect.height());
}
