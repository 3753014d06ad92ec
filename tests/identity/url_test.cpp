#include "core/identity/url.h"

#include <gtest/gtest.h>

namespace corvana {
namespace {

TEST(URL, OnlyTextsWithASchemeAreURLs) {
  for (const std::string& text : {std::string("https://example.org/a b\"%f$(x)"), std::string("mailto:a@b"),
                                  std::string("x-1.2+3:"), std::string("HTTP:x"), std::string("file:///a%2")}) {
    const auto url = URL::absolute(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
  }
  for (const std::string& text :
       {std::string(), std::string("example.org"), std::string("--no-sandbox"), std::string("--x=y:z"),
        std::string(":x"), std::string("1http:x"), std::string(" https://x"), std::string("ht tp:x"),
        std::string("/file"), std::string("ünicode:x"), std::string("http://a\0b", 10), std::string("file:///a%00b")}) {
    EXPECT_FALSE(URL::absolute(text)) << text;
  }
}

TEST(URL, FilePathsAreAbsoluteAndDecoded) {
  struct Row {
    const char* url;
    const char* path;
  };
  for (const Row& row :
       {Row{"file:///home/a%20b/%C3%BC.html", "/home/a b/ü.html"}, Row{"FILE://localhost/a?query#fragment", "/a"},
        Row{"file:/a%3Fb", "/a?b"}, Row{"file:///a%zz%4", "/a%zz%4"}, Row{"file:///a%", "/a%"}, Row{"file://host", "/"},
        Row{"file:--no-sandbox", "/--no-sandbox"}, Row{"file://--x", "/"}}) {
    const auto url = URL::absolute(row.url);
    ASSERT_TRUE(url && url->isFileURL()) << row.url;
    EXPECT_EQ(url->fileSystemPath(), row.path) << row.url;
  }
  EXPECT_FALSE(URL::absolute("filex:///a")->isFileURL());
  const std::string path = "/a b/%20/ü?#;\\\"";
  EXPECT_EQ(URL::file(path).fileSystemPath(), path);
  EXPECT_EQ(URL::file("/a b").absoluteString(), "file:///a%20b");
}

}  // namespace
}  // namespace corvana
