#include <gtest/gtest.h>

#include "model/objects/ModelFixture.h"

namespace {

class ObjectGraphTest : public ModelTest {
protected:
    qint64 count(const QString &entity) {
        return context().countForFetchRequest(FetchRequest(entity));
    }
    QStringList entityNames(const QVariant &members) {
        QStringList names;
        for (ManagedObject *member : members.value<QList<ManagedObject *>>())
            names << member->entityName();
        return names;
    }
};

}  // namespace

TEST_F(ObjectGraphTest, ExtraRecordsAreSeenThroughTheirRelationshipNames) {
    CommonDataMO *event = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("EVENT"));
    for (const char *entity :
         {"Reminder", "Attendee", "LocalReminder", "Attachment", "FileAttachment", "Organizer",
          "ContactLink", "LocalContactLink", "RecurrenceRule"})
        makeExtra(QLatin1String(entity), event)
            ->setValue(QStringLiteral("uid"), QLatin1String(entity));
    event->extrasForRelationship(QStringLiteral("attendees"))
        .first()
        ->setValue(QStringLiteral("email"), QStringLiteral("ann@example.com"));
    context().save();
    reopen();

    auto *loaded =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("EVENT"))
            ->objectData();
    EXPECT_EQ(entityNames(loaded->valueForKey(QStringLiteral("reminders"))),
              (QStringList{QStringLiteral("Reminder"), QStringLiteral("LocalReminder")}));
    EXPECT_EQ(entityNames(loaded->valueForKey(QStringLiteral("attachments"))),
              (QStringList{QStringLiteral("Attachment"), QStringLiteral("FileAttachment")}));
    EXPECT_EQ(entityNames(loaded->valueForKey(QStringLiteral("contacts"))),
              (QStringList{QStringLiteral("ContactLink"), QStringLiteral("LocalContactLink")}));
    EXPECT_EQ(entityNames(loaded->valueForKey(QStringLiteral("organizers"))),
              QStringList{QStringLiteral("Organizer")});
    EXPECT_EQ(entityNames(loaded->valueForKey(QStringLiteral("recurrences"))),
              QStringList{QStringLiteral("RecurrenceRule")});
    EXPECT_EQ(loaded->valueForKeyPath(QStringLiteral("attendees.email")).toList(),
              QVariantList{QStringLiteral("ann@example.com")});
    EXPECT_EQ(loaded->valueForKeyPath(QStringLiteral("reminders.@count")).toInt(), 2);
    EXPECT_EQ(loaded->extrasForRelationship(QStringLiteral("reminders")).first()->parentObject(),
              loaded);
    EXPECT_THROW(loaded->extrasForRelationship(QStringLiteral("extras")), std::invalid_argument);
    EXPECT_FALSE(loaded->valueForKey(QStringLiteral("nonsense")).isValid());
}

TEST_F(ObjectGraphTest, DeletingASyncableObjectDeletesItsDataAndExtras) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *event = makeItem(calendar, QStringLiteral("EVENT"));
    CommonDataMO *kept = makeItem(calendar, QStringLiteral("KEPT"));
    for (const char *entity : {"Reminder", "Attendee", "Attachment", "RecurrenceRule"})
        makeExtra(QLatin1String(entity), event);
    makeExtra(QStringLiteral("Organizer"), kept);
    context().save();

    context().deleteObject(event->objectInfo());
    EXPECT_TRUE(event->isDeleted());
    context().save();
    reopen();
    EXPECT_EQ(count(QStringLiteral("SyncableEvent")), 1);
    EXPECT_EQ(count(QStringLiteral("CommonChild")), 1);
    EXPECT_EQ(count(QStringLiteral("ExtraData")), 1) << "only the other item's organizer is left";
    auto *calendarInfo =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableCalendar"), QStringLiteral("CAL"));
    EXPECT_EQ(calendarInfo->objectsForKey(QStringLiteral("syncableChildren")).size(), 1);
    EXPECT_EQ(calendarInfo->objectData()->objectsForKey(QStringLiteral("childrenDirect")).size(),
              1);
}

TEST_F(ObjectGraphTest, DeletingADataObjectLeavesATombstoneAndDeletingAnExtraNullifies) {
    CommonDataMO *event = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("EVENT"));
    ExtraDataMO *attendee = makeExtra(QStringLiteral("Attendee"), event);
    makeExtra(QStringLiteral("Reminder"), event);
    context().save();

    context().deleteObject(attendee);
    EXPECT_EQ(event->extrasForRelationship(QStringLiteral("attendees")).size(), 0);
    EXPECT_FALSE(event->isDeleted());
    context().save();
    reopen();
    auto *info =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("EVENT"));
    ASSERT_NE(info->objectData(), nullptr);
    EXPECT_EQ(info->objectData()->extrasForRelationship(QStringLiteral("attendees")).size(), 0);
    EXPECT_EQ(info->objectData()->extrasForRelationship(QStringLiteral("reminders")).size(), 1);

    context().deleteObject(info->objectData());
    context().save();
    reopen();
    info = fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("EVENT"));
    ASSERT_NE(info, nullptr) << "the syncable object stays behind";
    EXPECT_TRUE(info->isTombstone());
    EXPECT_EQ(count(QStringLiteral("ExtraData")), 0);
}

TEST_F(ObjectGraphTest, DeletingAServiceDeletesItsNoticesAndRemoteRecordsButKeepsItsCalendars) {
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"), service);
    auto *notice = context().insertNewObject(QStringLiteral("Notification"));
    notice->setObject(QStringLiteral("ownedBy"), service);
    auto *remote = context().insertNewObject(QStringLiteral("RemoteObject"));
    remote->setObject(QStringLiteral("theRemoteService"), service);
    remote->setObject(QStringLiteral("localObject"), calendar->objectInfo());
    auto *withdrawn = context().insertNewObject(QStringLiteral("UnpublishedContainer"));
    withdrawn->setObject(QStringLiteral("publisher"), service);
    context().save();

    context().deleteObject(service);
    context().save();
    reopen();
    EXPECT_EQ(count(QStringLiteral("Notification")), 0);
    EXPECT_EQ(count(QStringLiteral("RemoteObject")), 0);
    EXPECT_EQ(count(QStringLiteral("UnpublishedContainer")), 1);
    auto *info =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableCalendar"), QStringLiteral("CAL"));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->ownedBy(), nullptr);
    EXPECT_TRUE(info->objectsForKey(QStringLiteral("syncsTo")).isEmpty());
}

TEST_F(ObjectGraphTest, PublishingAndDetachedInstancesKeepBothSides) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *series = makeItem(calendar, QStringLiteral("SERIES"));
    CommonDataMO *instance =
        makeItem(calendar, QStringLiteral("INSTANCE"), QStringLiteral("DetachedEvent"));
    instance->setObject(QStringLiteral("originalEvent"), series);
    ManagedObject *publisher = context().insertNewObject(QStringLiteral("BonjourPublisher"));
    calendar->objectInfo()->addObject(QStringLiteral("publishedTo"), publisher);
    ManagedObject *group = context().insertNewObject(QStringLiteral("CalendarGroup"));
    group->setValue(QStringLiteral("uid"), QStringLiteral("GROUP"));
    calendar->setObject(QStringLiteral("parentGroup"), group);
    context().save();
    reopen();

    auto *loadedSeries =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("SERIES"))
            ->objectData();
    ASSERT_EQ(loadedSeries->objectsForKey(QStringLiteral("detachedEvents")).size(), 1);
    EXPECT_EQ(ModelObject::as<CommonDataMO>(
                  loadedSeries->objectsForKey(QStringLiteral("detachedEvents")).first())
                  ->uid(),
              QStringLiteral("INSTANCE"));
    const QList<ManagedObject *> publishers =
        context().executeFetchRequest(FetchRequest(QStringLiteral("BonjourPublisher")));
    ASSERT_EQ(publishers.size(), 1);
    EXPECT_EQ(publishers.first()->objectsForKey(QStringLiteral("publishedContainers")).size(), 1);
    auto *loadedGroup =
        fetchByUID<CommonDataMO>(QStringLiteral("CalendarGroup"), QStringLiteral("GROUP"));
    EXPECT_EQ(loadedGroup->uid(), QStringLiteral("GROUP"));
    EXPECT_EQ(loadedGroup->objectsForKey(QStringLiteral("calendars")).size(), 1);
}
