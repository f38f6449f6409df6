// vestractl versions
#include <algorithm>

#include "console/Commands.h"
#include "console/Output.h"
#include "console/Session.h"
#include "framework/Text.h"
#include "settings/FileVersions.h"

namespace {

class Versions final : public Command {
  public:
    void Declare(Parameters&) override {}

    // In the order in which the panel shows them first.
    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        std::vector<FileVersion> files = ReadFileVersions(ListedFiles());
        std::sort(files.begin(), files.end(), [](const FileVersion& one, const FileVersion& other) {
            return CompareFileVersions(one, other, VersionColumn::Name, false) < 0;
        });
        output.BeginItems(L"files");
        for (const FileVersion& file : files) {
            const FileVersion visible{VisibleText(file.name), VisibleText(file.version), file.type,
                                      VisibleText(file.path)};
            const FileVersion* const row = &visible;
            std::wstring text = FileVersionsText({&row, 1});
            text.resize(text.find_last_not_of(L"\r\n") + 1);
            output.Line(text);
            Value item;
            item.Add(L"name", file.name).Add(L"version", file.version);
            item.Add(L"type", file.type).Add(L"path", file.path);
            output.Item(item);
        }
        return ExitCode::Done;
    }
};

}  // namespace

std::unique_ptr<Command> MakeVersions() {
    return std::make_unique<Versions>();
}
