#pragma once

#include <QString>
#include <optional>

class CommonDataMO;

// The picture drawn for an item: the file of its graphic attachment, else
// its calendar's `defaultIconName` — "merovan://PATH" names PATH inside the
// program's resources (AttachmentFiles::resourceFolder()), any other name a
// file in the "Graphics" folder of the application-support folder. None
// without either.
class ItemIcon {
public:
    static std::optional<QString> iconPath(const CommonDataMO *item);
};
