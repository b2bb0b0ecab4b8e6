#include <gtest/gtest.h>

#include "interfaces/baselib.h"
#include "support/temp_tree.h"

namespace rampart {
namespace {

CString XmlPath(const test::TempFolder& folder, std::string_view relative) {
    return CString(TextView(folder.Engine(relative)));
}

TEST(Xml, EveryKindOfValueComesBackFromAFile) {
    test::TempFolder folder;
    const CString texts[] = {_T(""),
                             _T("  "),
                             _T("<a & \"b\">'"),
                             _T("two\r\nlines\ttab"),
                             _T("\u00e4\u4e2d\xD83D\xDE00"),
                             CString(TCHAR(0xDC80)) + _T("x"),
                             _T(" ends ")};
    XMLDocument written;
    ASSERT_TRUE(written.Create(_T("Root")));
    XMLNode root = written.GetAsNode();
    for (int index = 0; index < static_cast<int>(std::size(texts)); index++) {
        EXPECT_TRUE(root.SetValue(FormatText(_T("Text%d"), index), texts[index]));
    }
    EXPECT_TRUE(root.SetValue(_T("Long"), -9223372036854775807LL - 1));
    EXPECT_TRUE(root.SetValue(_T("Unsigned"), 4294967295UL));
    EXPECT_TRUE(root.SetValue(_T("Int"), -5));
    EXPECT_TRUE(root.SetValue(_T("Bool"), true));
    const float floats[] = {0.0F, 1.5F, 0.1F, -16777217.0F, 1.17549435e-38F, 3.40282347e38F, 3.14159274F};
    for (int index = 0; index < static_cast<int>(std::size(floats)); index++) {
        EXPECT_TRUE(root.SetValue(FormatText(_T("Float%d"), index), floats[index]));
    }
    EXPECT_TRUE(root.SetValue(_T("Int"), -6));
    ASSERT_TRUE(written.Save(XmlPath(folder, "x/a.xml")));

    XMLDocument read;
    ASSERT_TRUE(read.Load(XmlPath(folder, "x/a.xml"))) << read.GetParseError().ToUtf8();
    const XMLNode node = read.GetAsNode();
    for (int index = 0; index < static_cast<int>(std::size(texts)); index++) {
        CString value;
        EXPECT_TRUE(node.GetValue(FormatText(_T("Text%d"), index), value, _T("default")));
        EXPECT_EQ(value, texts[index]) << index;
    }
    for (int index = 0; index < static_cast<int>(std::size(floats)); index++) {
        CString value;
        EXPECT_TRUE(node.GetValue(FormatText(_T("Float%d"), index), value, _T("")));
        EXPECT_EQ(std::strtof(value.ToUtf8().c_str(), nullptr), floats[index]) << value.ToUtf8();
        EXPECT_LT(value.GetLength(), 16) << value.ToUtf8();
    }
    __int64 big = 0;
    unsigned long word = 0;
    int number = 0;
    EXPECT_TRUE(node.GetValue(_T("Long"), big, 0LL));
    EXPECT_EQ(big, -9223372036854775807LL - 1);
    EXPECT_TRUE(node.GetValue(_T("Unsigned"), word, 0UL));
    EXPECT_EQ(word, 4294967295UL);
    EXPECT_TRUE(node.GetValue(_T("Int"), number, 0));
    EXPECT_EQ(number, -6);
    EXPECT_TRUE(node.GetValue(_T("Bool"), number, 0));
    EXPECT_EQ(number, 1);
    EXPECT_EQ(node.GetNumberOfNodes(), static_cast<int>(std::size(texts) + std::size(floats)) + 4);
}

TEST(Xml, AMissingChildGivesTheDefaultAndFalse) {
    test::TempFolder folder;
    folder.Write("a.xml",
                 "<?xml version=\"1.0\"?><!-- c --><L><!-- c --><T><Name>x</Name></T><T/><End/></L>");
    XMLDocument document;
    ASSERT_TRUE(document.Load(XmlPath(folder, "a.xml")));
    const XMLNode root = document.GetAsNode();
    EXPECT_EQ(root.GetName(), _T("L"));
    EXPECT_EQ(root.GetNumberOfNodes(), 3);
    EXPECT_EQ(root.GetNode(2).GetName(), _T("End"));
    EXPECT_FALSE(root.GetNode(3).IsValid());
    EXPECT_FALSE(root.GetNode(-1).IsValid());
    EXPECT_FALSE(root.GetNode(_T("T2")).IsValid());
    CString name;
    int number = 1;
    EXPECT_TRUE(root.GetNode(_T("T")).GetValue(_T("Name"), name, _T("")));
    EXPECT_EQ(name, _T("x"));
    EXPECT_FALSE(root.GetNode(1).GetValue(_T("Name"), name, name));  // the present value as default
    EXPECT_EQ(name, _T("x"));
    EXPECT_FALSE(XMLNode().GetValue(_T("Name"), number, 9));
    EXPECT_EQ(number, 9);
    EXPECT_FALSE(XMLNode().SetValue(_T("Name"), 1));
}

TEST(Xml, ADamagedFileIsAnErrorAndNoDocument) {
    test::TempFolder folder;
    folder.Write("cut.xml", "<L><T><Name>x</Na");
    folder.Write("empty.xml", "");
    XMLDocument document;
    EXPECT_FALSE(document.Load(XmlPath(folder, "cut.xml")));
    EXPECT_FALSE(document.IsValid());
    EXPECT_FALSE(document.GetParseError().IsEmpty());
    EXPECT_FALSE(document.GetAsNode().IsValid());
    EXPECT_FALSE(document.Load(XmlPath(folder, "empty.xml")));
    EXPECT_FALSE(document.Load(XmlPath(folder, "missing.xml")));
    EXPECT_FALSE(document.GetParseError().IsEmpty());
    EXPECT_FALSE(document.Save(XmlPath(folder, "out.xml")));
}

TEST(Xml, ANodeOutlivesItsDocument) {
    XMLNode child;
    {
        XMLDocument document;
        document.Create(_T("R"));
        document.GetAsNode().SetValue(_T("C"), _T("kept"));
        child = document.GetAsNode();
    }
    CString value;
    EXPECT_TRUE(child.GetValue(_T("C"), value, _T("")));
    EXPECT_EQ(value, _T("kept"));
}

}  // namespace
}  // namespace rampart
