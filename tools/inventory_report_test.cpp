#include "tools/inventory_report.h"

#include <gtest/gtest.h>

#include "Keel/coding/json.h"
#include "Plinth/inventory/file_icon_manager.h"

namespace Vantor::Tools {
namespace {

class NoIcons final : public Plinth::IconPlatform {
 public:
  std::optional<Plinth::Image> workspaceIcon(const std::string&) const override { return std::nullopt; }
  std::optional<std::vector<std::string>> enumerate(const std::string&) const override { return std::nullopt; }
  std::optional<Plinth::Image> imageFromFile(const std::string&) const override { return std::nullopt; }
};

TEST(InventoryReport, HumanSizes) {
  EXPECT_EQ(humanSize(0), "0 bytes");
  EXPECT_EQ(humanSize(1), "1 byte");
  EXPECT_EQ(humanSize(999), "999 bytes");
  EXPECT_EQ(humanSize(1000), "1.0 KB");
  EXPECT_EQ(humanSize(999'949), "999.9 KB");
  EXPECT_EQ(humanSize(999'950), "1.0 MB");
  EXPECT_EQ(humanSize(3'063'167), "3.1 MB");
  EXPECT_EQ(humanSize(UINT64_MAX), "18.4 EB");
}

TEST(InventoryReport, TableAndTreeOfARecord) {
  NoIcons platform;
  Plinth::FileIconManager icons(platform);
  Plinth::AppEnvironment environment;
  environment.icons = &icons;
  auto app = std::make_shared<Plinth::App>("Café", "com.example.cafe", environment);
  app->version = "1.2";
  app->binaryFile = std::make_shared<Plinth::FileURL>(Keel::URL::fileURL("/Applications/Café.app", true), 2'500'000);
  app->installed = Keel::Date(86400.5);
  app->containedApps = {std::make_shared<Plinth::App>("Helper", "com.example.cafe.helper", environment),
                        std::make_shared<Plinth::App>("Shareex", "com.example.cafe.share", environment)};
  auto other = std::make_shared<Plinth::App>("Ledger", "com.example.ledger", environment);
  EXPECT_EQ(applicationsTable({app, other}),
            "NAME    IDENTIFIER          VERSION  SIZE     CONTAINED\n"
            "Café    com.example.cafe    1.2      2.5 MB   Helper, Shareex\n"
            "Ledger  com.example.ledger  -        0 bytes  -\n");

  const auto json = Keel::JSON::write(appTree(*app));
  ASSERT_TRUE(json);
  const std::string& text = json.value();
  EXPECT_NE(text.find(R"("installed":"1970-01-02T00:00:00Z")"), std::string::npos) << text;
  EXPECT_NE(
      text.find(
          R"("binaryFile":{"url":"file:///Applications/Caf%C3%A9.app/","size":2500000,"name":"Café.app","isSelected":false})"),
      std::string::npos)
      << text;
  EXPECT_NE(text.find(R"("baseUrl":"file:///Applications/Caf%C3%A9.app","icon":null)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("container":null,"preferences":null,"savedState":null,"caches":[])"), std::string::npos);
  EXPECT_NE(text.find(R"("name":"Shareex","identifier":"com.example.cafe.share")"), std::string::npos);
  EXPECT_EQ(sizesTable({{"/a", 1'500}, {"/bb", 12}}), "  1.5 KB  1500 bytes  /a\n12 bytes    12 bytes  /bb\n");
}

}  // namespace
}  // namespace Vantor::Tools
