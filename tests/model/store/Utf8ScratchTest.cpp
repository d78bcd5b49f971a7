#include <gtest/gtest.h>

#include <QRandomGenerator>
#include <vector>

#include "model/store/SqliteConnection.h"
#include "model/store/StoreFixture.h"
#include "model/store/Utf8Scratch.h"

namespace {

// Text of every width of UTF-8, with surrogate pairs and surrogates that
// are not in a pair (alone, reversed, at either end) mixed in.
QString mixedUtf16(QRandomGenerator &random, int length) {
    static const char16_t kUnits[] = {u'a',   u' ',   u'\0',  0x7f,   0x80,   0xe9,
                                      0x7ff,  0x800,  0x2603, 0xfffd, 0xfffe, 0xffff,
                                      0xd800, 0xdbff, 0xdc00, 0xdfff, 0xd83d, 0xde00};
    QString text;
    for (int i = 0; i < length; ++i)
        text += QChar(kUnits[random.bounded(int(std::size(kUnits)))]);
    return text;
}

}  // namespace

// Every copy is byte for byte what QString::toUtf8() makes of the same text,
// and stays so until cleared while many more (filling several blocks, and one
// longer than a block) are added after it.
TEST(Utf8ScratchTest, CopiesAreWhatToUtf8MakesAndLastUntilCleared) {
    QRandomGenerator random(7);
    Utf8Scratch scratch;
    for (int round = 0; round < 3; ++round) {
        std::vector<QString> texts;
        std::vector<QByteArrayView> copies;
        for (int i = 0; i < 3000; ++i) {
            texts.push_back(mixedUtf16(random, random.bounded(i % 100 == 0 ? 400 : 40)));
            if (i == 1500)
                texts.back() = mixedUtf16(random, 70000);
            copies.push_back(scratch.add(texts.back()));
        }
        texts.push_back(QString());
        copies.push_back(scratch.add(texts.back()));
        for (std::size_t i = 0; i < texts.size(); ++i) {
            ASSERT_EQ(QByteArray(copies[i].data(), copies[i].size()), texts[i].toUtf8())
                << "round " << round << ", text " << i;
        }
        EXPECT_NE(copies.back().data(), nullptr) << "an empty text still has a place";
        scratch.clear();
    }
    const QString pairs = QString::fromUtf16(u"\xd83d\xde00\xd800\xdc00x\xdbff");
    const QByteArrayView copy = scratch.add(pairs);
    EXPECT_EQ(QByteArray(copy.data(), copy.size()),
              QByteArray("\xf0\x9f\x98\x80\xf0\x90\x80\x80x?"));
}

// Texts are stored as the bytes toUtf8() makes of them, an unpaired
// surrogate as '?', and an empty text as an empty text, not NULL: in new
// rows (many to a statement) and in changed ones.
TEST_F(StoreTest, TextsAreStoredAsTheirUtf8BytesUnpairedSurrogatesIncluded) {
    QRandomGenerator random(11);
    std::vector<QString> texts{QString(), QStringLiteral(""), QString::fromUtf16(u"end\xd83d"),
                               QString::fromUtf16(u"\xdc00start")};
    while (texts.size() < 70)
        texts.push_back(mixedUtf16(random, random.bounded(60)));
    std::vector<ObjectID> ids;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        ManagedObject *note = insert(QStringLiteral("Note"), QStringLiteral("n%1").arg(i));
        note->setValue(QStringLiteral("text"), texts[i]);
        ids.push_back(note->objectID());
    }
    context().save();
    const auto storedBytes = [&](const ObjectID &id) {
        SqliteStatement &row = store().connection().statement(
            QStringLiteral("SELECT typeof(text), CAST(text AS BLOB) FROM Item WHERE Z_PK = ?"));
        row.bindInt(1, id.primaryKey);
        EXPECT_TRUE(row.step());
        const QString type = row.columnText(0);
        const QByteArray bytes = row.columnBlob(1);
        row.reset();
        return std::pair{type, bytes};
    };
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(storedBytes(ids[i]), std::pair(QStringLiteral("text"), texts[i].toUtf8())) << i;
    }

    const QString changed = QString::fromUtf16(u"\xdfff\xd800 changed \x2603");
    context().existingObjectWithID(ids[5])->setValue(QStringLiteral("text"), changed);
    context().existingObjectWithID(ids[6])->setValue(QStringLiteral("count"), 3);
    context().save();
    EXPECT_EQ(storedBytes(ids[5]), std::pair(QStringLiteral("text"), changed.toUtf8()));
    EXPECT_EQ(storedBytes(ids[5]).second, QByteArray("?? changed \xe2\x98\x83"));
    EXPECT_EQ(storedBytes(ids[6]), std::pair(QStringLiteral("text"), texts[6].toUtf8()));
}
