#include "QtPrinters.h"
#include "VLXMLDictionary.h"

#include <QVariantList>

#include <gtest/gtest.h>

namespace {

QVariantMap decode(const char *xml)
{
    return VLXMLDictionaryForXMLData(QByteArray(xml));
}

QVariantMap map(std::initializer_list<std::pair<QString, QVariant>> entries)
{
    QVariantMap result;
    for (const auto &[key, value] : entries)
        result.insert(key, value);
    return result;
}

} // namespace

TEST(XMLDictionary, NothingParseableGivesAnEmptyDictionary)
{
    EXPECT_TRUE(VLXMLDictionaryForXMLData(QByteArray()).isEmpty());
    EXPECT_TRUE(decode("").isEmpty());
    EXPECT_TRUE(decode("not xml at all {").isEmpty());
    EXPECT_TRUE(decode("<?xml version=\"1.0\"?>").isEmpty());
    EXPECT_TRUE(decode("<r/>").isEmpty());
    EXPECT_TRUE(decode("<r></r>").isEmpty());
    EXPECT_TRUE(decode("<r>  \n\t </r>").isEmpty());
}

TEST(XMLDictionary, LeavesFlattenIntoTheirParent)
{
    // A root of leaves is a flat dictionary without "name"; the root's own text stays under its tag.
    EXPECT_EQ(decode("<r><a>1</a><b> two  words \n</b></r>"),
              map({{"a", "1"}, {"b", "two  words"}}));
    EXPECT_EQ(decode("<s>ok</s>"), map({{"s", "ok"}}));
    EXPECT_EQ(decode("<s>\n  ok \n</s>"), map({{"s", "ok"}}));

    // Repeated leaves overwrite one another, attributes are ignored, empty elements vanish.
    EXPECT_EQ(decode("<r><k>1</k><k>2</k><e/><f></f><g>  </g><h x=\"y\">v</h></r>"),
              map({{"k", "2"}, {"h", "v"}}));
}

TEST(XMLDictionary, ElementsWithElementChildrenBecomeChildrenArrays)
{
    const QVariantMap files = decode("<files><file><n>1</n></file><file><n>2</n></file></files>");
    EXPECT_EQ(files, map({{"name", "files"},
                          {"children", QVariantList{map({{"n", "1"}}), map({{"n", "2"}})}}}));

    // Leaves beside element children stay at the top: the service's file list, records two levels down.
    const QVariantMap reply = decode("<R><StatusCode>0</StatusCode><Files><F><ID>1</ID></F><F><ID>2</ID></F></Files></R>");
    EXPECT_EQ(reply.value("StatusCode"), "0");
    EXPECT_EQ(reply.value("name"), "R");
    const QVariantList top = reply.value("children").toList();
    ASSERT_EQ(top.size(), 1);
    EXPECT_EQ(top[0].toMap().value("name"), "Files");
    EXPECT_EQ(top[0].toMap().value("children").toList(), (QVariantList{map({{"ID", "1"}}), map({{"ID", "2"}})}));

    // A list that reduces to nothing leaves no "children" and no "name" behind.
    EXPECT_EQ(decode("<R><StatusCode>0</StatusCode><Files>\n</Files></R>"), map({{"StatusCode", "0"}}));
}

TEST(XMLDictionary, OddConsequencesOfTheReductionAreKept)
{
    // Mixed content: the text pieces are trimmed one by one and concatenated; the element's own
    // leaves still form a dictionary that joins the parent's children.
    EXPECT_EQ(decode("<p><a> x <b>1</b> y </a></p>"),
              map({{"name", "p"}, {"a", "xy"}, {"children", QVariantList{map({{"b", "1"}})}}}));

    // A leaf named "name" lands in the name slot and is lost when nothing else keeps it.
    EXPECT_EQ(decode("<r><name>lost</name></r>"), QVariantMap());
    EXPECT_EQ(decode("<r><name>kept</name><c><d>1</d></c></r>"),
              map({{"name", "kept"}, {"children", QVariantList{map({{"d", "1"}})}}}));

    // Comments and processing instructions are keyed by libxml2's node names; text is untrimmed.
    EXPECT_EQ(decode("<r><!-- note --><?tool do it?><a>1</a></r>"),
              map({{"comment", " note "}, {"tool", "do it"}, {"a", "1"}}));

    // A leaf of dictionaries without element grandchildren still joins "children" without "name".
    EXPECT_EQ(decode("<r><x><k>v</k></x><y><k>w</k></y></r>"),
              map({{"name", "r"}, {"children", QVariantList{map({{"k", "v"}}), map({{"k", "w"}})}}}));
}

TEST(XMLDictionary, HostileInputIsDecodedWithoutHarm)
{
    // Deep nesting beyond libxml2's depth limit: recovery keeps what it could parse.
    QByteArray deep;
    for (int i = 0; i < 5000; ++i)
        deep += "<d>";
    deep += "x";
    EXPECT_NO_FATAL_FAILURE(VLXMLDictionaryForXMLData(deep));

    // A huge text node survives intact.
    const QByteArray huge(4 * 1024 * 1024, 'h');
    const QVariantMap big = VLXMLDictionaryForXMLData("<r><t>" + huge + "</t></r>");
    EXPECT_EQ(big.value("t").toString().size(), huge.size());

    // Entities: predefined ones are text; declared ones give their replacement text under their
    // own name and are never expanded recursively.
    EXPECT_EQ(decode("<r><a>&lt;&amp;&#65;</a></r>"), map({{"a", "<&A"}}));
    QByteArray laughs = "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY l0 \"ha\">";
    for (int i = 1; i < 12; ++i)
        laughs += QByteArray("<!ENTITY l") + QByteArray::number(i) + " \"" + QByteArray("&l")
            + QByteArray::number(i - 1) + ";" + QByteArray("&l") + QByteArray::number(i - 1)
            + ";&l" + QByteArray::number(i - 1) + ";\">";
    laughs += "]><r><a>&l11;</a><b>ok</b></r>";
    // libxml2 refuses the reference loop and stops there; nothing is expanded.
    const QVariantMap laughed = VLXMLDictionaryForXMLData(laughs);
    EXPECT_LE(vlDescribe(laughed).size(), 100);

    // Invalid UTF-8 and stray bytes are recovered and converted with replacement characters.
    const QVariantMap broken = VLXMLDictionaryForXMLData(QByteArray("<r><a>caf\xe9 \xff\xfe</a><b>2</b></r>"));
    EXPECT_TRUE(broken.value("a").toString().startsWith("caf"));

    // Truncated replies keep what came before the cut.
    EXPECT_EQ(decode("<r><a>1</a><b>2</b><c>3"), map({{"a", "1"}, {"b", "2"}, {"c", "3"}}));
    // CDATA sections are text like any other, trimmed and joined with the text around them.
    EXPECT_EQ(decode("<r><![CDATA[raw]]><a>1</a></r>"), map({{"r", "raw"}, {"a", "1"}}));
    EXPECT_EQ(decode("<r><s>a<![CDATA[ <b> ]]>c</s></r>"), map({{"s", "a<b>c"}}));
    EXPECT_NO_FATAL_FAILURE(decode("\xef\xbb\xbf<r>bom</r>"));
    EXPECT_NO_FATAL_FAILURE(VLXMLDictionaryForXMLData(QByteArray("<r>\0<a>1</a></r>", 17)));
}
