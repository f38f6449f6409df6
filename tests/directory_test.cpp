// What is read and changed in the domain's directory, against a directory of the test's own.

#include "settings/DomainDirectory.h"
#include "tests/support/TestDirectory.h"

namespace {

constexpr wchar_t kProviders[] = L"pKIDefaultCSPs", kKeySize[] = L"msPKI-Minimal-Key-Size";
constexpr wchar_t kTemplate1[] = L"CN=DomainController", kTemplate2[] = L"CN=EnrollmentAgent";

struct Directory : testing::Test {
    std::string List() const { return ExportText(asked.ListControllers().ValueOr({{L"failed", L""}})); }

    TestDirectory directory;
    DomainDirectory asked;
};

TEST_F(Directory, ListsTheControllersThatHaveANameAndAnIdentifier) {
    const std::vector<BYTE> fifteen(15);
    directory.AddController(L"no.name", 3).attributes.erase(L"dNSHostName");
    directory.AddController(L"odd.name", 3).attributes[L"dNSHostName"] = 5;
    directory.AddController(L"short.identifier", 3).attributes[L"objectGUID"] = fifteen;
    directory.AddController(L"odd.identifier", 3).attributes[L"objectGUID"] = L"0123456789abcdef";
    directory.AddController(L"a.group", 3).kind = L"group";
    directory.AddController(L"сервер.test", 0xfe);
    EXPECT_EQ(List(), kListed + "сервер.test\r\n{03020100-0504-0706-0809-0a0b0c0d0efe}\r\n");
    directory.entries[TestDirectory::kDomain].children.clear();
    EXPECT_EQ(List(), "");
}

TEST_F(Directory, KnowsWhenTemplatesNeedRepair) {
    const std::vector<BYTE> array(2);
    const struct {
        std::map<std::wstring, DirectoryEntry::Value> first, second;
        bool needed;
    } cases[] = {{{{kKeySize, 512}}, {{kKeySize, 512}, {kProviders, 0}}, false},
                 {{{kKeySize, 512}}, {{kKeySize, 1024}}, true},
                 {{{kKeySize, L"long"}}, {}, true},
                 {{}, {{kProviders, array}}, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        directory.Template(kTemplate1).attributes = c.first;
        directory.Template(kTemplate2).attributes = c.second;
        EXPECT_EQ(asked.TemplatesNeedRepair(), c.needed);
    }
}

// Each call of the directory fails in turn. A controller that can't be read is left out, and a listing that breaks off
// keeps what it has.
TEST_F(Directory, SurvivesTheFailureOfEachCall) {
    const auto entries = directory.entries;
    const auto list = [&] {
        const std::string listed = List();
        if (listed == "failed\r\n{}\r\n") return directory.calls.at(directory.failing) != L"Next";
        return kListed.starts_with(listed) || kListed.ends_with(listed);
    };
    const auto templates = [&] {
        const bool needed = asked.TemplatesNeedRepair(), broken = directory.calls.size() == directory.failing + 1;
        return needed != broken;
    };
    // Nothing is written before all could be set.
    const auto repair = [&] {
        const Result<> repaired = asked.RepairTemplates();
        const auto &one = directory.Template(kTemplate1).attributes, &other = directory.Template(kTemplate2).attributes;
        if (repaired) return one == other && one == decltype(DirectoryEntry::attributes){{kKeySize, 512}};
        const bool first = repaired.Failed().code == static_cast<DWORD>(directory.CodeOf(directory.failing));
        return first && (directory.entries == entries || directory.calls.back().starts_with(L"Set"));
    };
    for (const std::function<bool()>& scenario : {std::function<bool()>(list), {templates}, {repair}}) {
        for (size_t point = 0; directory.calls.size() >= point; ++point) {
            directory.entries = entries;
            directory.Forget(point);
            EXPECT_TRUE(scenario()) << point << " of " << testing::PrintToString(directory.calls);
            EXPECT_EQ(directory.objects, 0) << point;
        }
    }
}

}  // namespace
