#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

#include "model/foundation/Date.h"
#include "model/store/ObjectRef.h"

class CommonDataMO;
class ExtraDataMO;

// The files of attachment records (entities Attachment and FileAttachment)
// in the attachments folder (Paths::attachmentsFolder).
//
// Where a record's file lives:
// - a record with a `fileName`: "<name without extension>-<uid>[.<extension>]";
// - an internal address (`fileURL` "merovan://PATH"): PATH below the resource
//   folder, shipped with the program and never deleted;
// - a web file (`fileURL` http or https): the address without its scheme,
//   every "/" and ":" replaced by "-", cut to 100 characters.
// A record is on disk when its `localFileModTime` equals its `fileModTime`
// and the file exists. Main thread only.
class AttachmentFiles {
public:
    static constexpr char kInternalScheme[] = "merovan://";

    // Where internal addresses point; the program's resource folder unless a
    // caller (tests, a relocated install) sets another. An empty folder
    // restores the default.
    static QString resourceFolder();
    static void setResourceFolder(const QString &folder);

    // The record's file path, or none when it has neither a file name nor a
    // file address.
    static std::optional<QString> pathForAttachmentByExpandingResourceURLs(
        const ExtraDataMO &record);
    static QString pathForGlobalFileURL(const QString &url);
    static bool isGlobalFileURL(const QString &url);
    static bool isInternalURL(const QString &url);
    // The last path component of `fileURL`, else `fileName`.
    static QString attachmentFileName(const ExtraDataMO &record);

    // On disk as above; a web file that exists under other stamps adopts the
    // file's date as its `localFileModTime`.
    static bool haveAttachmentOnDisk(ExtraDataMO &record);
    // Removes the file when the record has a copy (`localFileModTime` set) or
    // is a web file; internal files stay.
    static void deleteAttachmentOnDisk(const ExtraDataMO &record);
    // `localFileModTime` = `fileModTime`, logged; with `touch`, a change of
    // the item.
    static void noteAttachmentWasSavedToDiskAndTouchParentObject(ExtraDataMO &record, bool touch);

    // Copies `from` to `to`, replacing what is there; false with `error` set
    // when it cannot.
    static bool copyFile(const QString &from, const QString &to, QString *error);
    // Writes `data` to `path` atomically (a reader sees the old file or the
    // whole new one), making its folder; the reason on failure, else empty.
    // Touches no record: safe on a worker thread.
    static QString saveFileData(const QString &path, const QByteArray &data);

    // A file of this machine attached to the item: a file of the resource
    // folder as its internal address (attachGlobalFile); otherwise an
    // Attachment record is made and the file copied in. An item that already
    // has an attachment of that file name gets nothing new (that record is
    // returned). A copy that fails is logged and loses the new record
    // (nullptr).
    //
    // With `checkOnTempFiles`, a file in the temporary folder may still be
    // being written: the record keeps it in `localFilePath` and the file is
    // looked at every second (on the shared clock). It is copied in once it
    // was unchanged between two looks and the first look is more than five
    // seconds old; a file that has not appeared after thirty seconds, or
    // that cannot be copied then, loses the record.
    static ExtraDataMO *attachLocalFile(const QString &path, CommonDataMO *object,
                                        bool checkOnTempFiles = false);
    // A web (or internal) address attached to the item: the item's
    // attachment of that address if it has one, else a new record; a web file
    // already downloaded is noted as saved. With `checkOnFile`, a web file
    // not on disk yet is looked for every second and noted as saved when it
    // appears, for at most thirty seconds.
    static ExtraDataMO *attachGlobalFile(const QString &url, CommonDataMO *object,
                                         bool checkOnFile = false);
    // Queues the record's web file with the fetcher (GlobalAttachmentFetcher).
    static void downloadGlobalFileIfNeeded(ExtraDataMO *record);

private:
    static void checkAttachedTempFile(const ObjectRef<ExtraDataMO> &record, Date firstCheck,
                                      std::optional<Date> modTime);
    static void checkAttachedGlobalFile(const ObjectRef<ExtraDataMO> &record, Date firstCheck);
};
