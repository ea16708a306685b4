#include "orlo/data/generic_adapters.h"

#include <gtest/gtest.h>

#include "orlo/files/sys_file.h"
#include "support/temp_dir.h"

namespace Orlo {
namespace {

using source = CGenericSeekableSource<CSysFile>;
using sink = CGenericSeekableSink<CSysFile>;
using synth = CGenericSeekableSynth<CSysFile>;

CSysFile opened(const testing_support::temp_dir& dir, file_access access) {
    CSysFile file;
    file.Open(stringEx((dir.path() + "/file").c_str()), access, O_CREAT);
    return file;
}

std::string read(TDataSource& from, std::size_t size) {
    std::string text(size, '?');
    text.resize(from.Read(text.data(), size));
    return text;
}

TEST(GenericAdapters, SayWhatTheyAre) {
    const source a{CSysFile()};
    const sink b{CSysFile()};
    const synth c{CSysFile()};
    const std::pair<const IDataObject*, const char*> objects[] = {
        {&a, "Generic Seekable Data Source"},
        {&b, "Generic Seekable Data Sink"},
        {&c, "Generic Seekable Data Synth"},
    };
    for (const auto& [object, description] : objects) {
        EXPECT_STREQ(object->GetDesc(), description);
        EXPECT_EQ(object->GetKind(), 1);
        EXPECT_TRUE(object->IsClosed() && !object->IsOpen()) << description;
        byteEx content(reinterpret_cast<const unsigned char*>("kept"), 4);
        EXPECT_FALSE(object->GetContent(content));
        EXPECT_EQ(content.size(), 4u);
    }
}

// A synth reads and writes at one position, and shares it with every adapter over a copy of its file.
TEST(GenericAdapters, ShareDescriptorAndPosition) {
    const testing_support::temp_dir dir;
    CSysFile file = opened(dir, file_access::read_write);
    synth both(file);
    source reader(file);
    file.Close();
    TSeekableSource& as_source = both;
    TSeekableSink& as_sink = both;
    EXPECT_EQ(as_sink.Write("0123456789", 10), 10u);
    as_sink.FlushBuffer();
    as_sink.Flush();
    EXPECT_TRUE(as_source.IsEof() && reader.IsEof());
    EXPECT_EQ(reader.SeekBegin(4), 4);
    EXPECT_FALSE(as_source.IsEof());
    EXPECT_EQ(read(as_source, 2), "45");
    EXPECT_EQ(reader.SeekCurrent(-1), 5);
    EXPECT_EQ(read(reader, 0), "");
    EXPECT_EQ(both.SeekEnd(-2), 8);
    EXPECT_EQ(reader.GetCurrentPos(), 8);
    EXPECT_EQ(read(reader, 100), "89");
    EXPECT_EQ(reader.GetSize(), 10);
    EXPECT_TRUE(both.IsOpen() && reader.IsOpen()) << "the adapters keep the file open";
}

// Failures of the back end pass through as they are.
TEST(GenericAdapters, DoNotTranslateFailures) {
    const testing_support::temp_dir dir;
    source reader(opened(dir, file_access::write));
    sink writer(opened(dir, file_access::read));
    char byte = 0;
    EXPECT_THROW(reader.Read(&byte, 1), sysfileExp);
    EXPECT_THROW(writer.Write(&byte, 1), sysfileExp);
    EXPECT_THROW(writer.SeekBegin(-1), sysfileExp);
}

}  // namespace
}  // namespace Orlo
