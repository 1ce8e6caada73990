#include "ledger/draft.h"

#include "support.h"

#include <fstream>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace {

void write(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
}

std::string textOf(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

TEST(Draft, HasItsNameWhenItIsWholeAndTakesNobodyElses)
{
    const TemporaryFolder folder;
    const std::string part = (folder / "file.part").string();
    const std::string name = (folder / "file").string();
    write(part, "left by somebody who was killed");
    {
        Draft draft(part);
        EXPECT_EQ(textOf(part), "");
        EXPECT_THROW(Draft{part}, Draft::Taken);
        write(part + "-journal", "");
        write(part, "new");
        write(name, "made meanwhile");
        EXPECT_THROW(draft.nameIt(name), std::runtime_error);
        EXPECT_EQ(textOf(name), "made meanwhile");
    }
    EXPECT_FALSE(std::filesystem::exists(part));
    EXPECT_FALSE(std::filesystem::exists(part + "-journal"));
    Draft draft(part);
    write(part, "newer");
    draft.putInPlaceOf(name);
    EXPECT_NO_THROW(Draft{part}) << "what has been named is nobody's any more";
    EXPECT_EQ(textOf(name), "newer");
}

} // namespace kivolo::server::test
