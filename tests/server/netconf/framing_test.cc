#include "server/netconf/framing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace ncdm::netconf {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using Messages = std::vector<std::string>;

MessageReader Reader(Framing framing) {
  MessageReader reader;
  reader.set_framing(framing);
  return reader;
}

Messages TakeAll(MessageReader* reader) {
  Messages messages;
  while (std::optional<std::string> message = reader->Next()) {
    messages.push_back(std::move(*message));
  }
  return messages;
}

// What comes out when the stream arrives in pieces of this size.
Messages ReadInPieces(Framing framing, std::string_view stream, std::size_t size) {
  MessageReader reader = Reader(framing);
  Messages messages;
  for (; !stream.empty(); stream.remove_prefix(std::min(size, stream.size()))) {
    reader.Append(stream.substr(0, size));
    for (std::string& message : TakeAll(&reader)) {
      messages.push_back(std::move(message));
    }
  }
  return messages;
}

Messages ReadChunks(std::string_view stream) {
  return ReadInPieces(Framing::kChunked, stream, stream.size());
}

TEST(FramingTest, DelimitedMessagesComeOutWhateverTheSplit) {
  const std::string stream = "<a/>]]>]]>\n<b>]]></b>]]>]]>]]>]]><c>]]]>]]>";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    EXPECT_THAT(ReadInPieces(Framing::kEndOfMessage, stream, size),
                ElementsAre("<a/>", "\n<b>]]></b>", "", "<c>]"))
        << size;
  }
}

TEST(FramingTest, ChunkedMessagesComeOutWhateverTheSplit) {
  const std::string stream = "\n#4\n<a/>\n##\n\n#1\n<\n#3\nb/>\n##\n\n#6\n\n##\n#1\n##\n";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    EXPECT_THAT(ReadInPieces(Framing::kChunked, stream, size),
                ElementsAre("<a/>", "<b/>", "\n##\n#1"))
        << size;
  }
}

TEST(FramingTest, FramingChangesBehindTheMessageThatWasTaken) {
  MessageReader reader;
  reader.Append("<hello/>]]>]]>\n#2\nab\n##\n");
  EXPECT_EQ(reader.Next(), "<hello/>");
  reader.set_framing(Framing::kChunked);
  EXPECT_EQ(reader.Next(), "ab");
  EXPECT_EQ(reader.Next(), std::nullopt);
  EXPECT_EQ(reader.held(), 0U);
}

TEST(FramingTest, MalformedChunksAreRefusedAtTheirFirstWrongByte) {
  for (const char* stream :
       {"x", "\nx", "#", "\n#x", "\n#0", "\n# ", "\n#-", "\n#+", "\n#1x", "\n#\n",

        "\n#1\r", "\n#12345678901", "\n#4294967296\n", "\n##x", "\n###", "\n##\n", "\n#1\nab",
        "\n#1\na\n##x", "\n#1\na\n##\n\n##\n"}) {
    MessageReader reader = Reader(Framing::kChunked);
    reader.Append(stream);
    EXPECT_THROW(TakeAll(&reader), FramingError) << stream;
    if (std::string_view(stream).size() > 1) {
      MessageReader waiting = Reader(Framing::kChunked);
      std::string_view before(stream);
      before.remove_suffix(1);
      waiting.Append(before);
      EXPECT_NO_THROW(TakeAll(&waiting)) << stream;
    }
  }
}

TEST(FramingTest, LargestChunkSizeIsOneThatIsTooBigOnly) {
  EXPECT_THROW(ReadChunks("\n#4294967295\n"), MessageTooBig);
}

TEST(FramingTest, ChunkedMessageOfTheLargestSizeIsTakenAndOneByteMoreIsNot) {
  const std::string largest(kMaxMessageBytes, 'x');
  EXPECT_THAT(ReadChunks(Framed(Framing::kChunked, largest)), ElementsAre(largest));
  EXPECT_THROW(ReadChunks("\n#" + std::to_string(kMaxMessageBytes + 1) + "\n"), MessageTooBig);
  EXPECT_THROW(ReadChunks("\n#1\nx\n#" + std::to_string(kMaxMessageBytes) + "\n"), MessageTooBig);
}

TEST(FramingTest, DelimitedMessageOfTheLargestSizeIsTakenAndOneByteMoreIsNot) {
  const std::string largest(kMaxMessageBytes, 'x');
  const auto read = [](const std::string& stream) {
    return ReadInPieces(Framing::kEndOfMessage, stream, 65536);
  };
  EXPECT_THAT(read(Framed(Framing::kEndOfMessage, largest)), ElementsAre(largest));
  EXPECT_THROW(read(Framed(Framing::kEndOfMessage, largest + 'x')), MessageTooBig);
}

TEST(FramingTest, EndlessMessageIsRefusedWhenItPassesTheSize) {
  MessageReader reader;
  reader.Append(std::string(kMaxMessageBytes + 5, 'x'));
  EXPECT_EQ(reader.Next(), std::nullopt);
  reader.Append("x");
  EXPECT_THAT([&] { reader.Next(); },
              ThrowsMessage<MessageTooBig>("a message of more than 16777216 bytes"));
}

TEST(FramingTest, HeldCountsWhatIsIncompleteAndWhatIsBehind) {
  MessageReader reader = Reader(Framing::kChunked);
  reader.Append("\n#5\nabc");
  EXPECT_EQ(reader.Next(), std::nullopt);
  EXPECT_EQ(reader.held(), 3U);
  reader.Append("de\n##\n\n#");
  EXPECT_EQ(reader.held(), 11U);
  EXPECT_EQ(reader.Next(), "abcde");
  EXPECT_EQ(reader.held(), 2U);
}

TEST(FramingTest, MessageGoesOutAsOneChunkOrBeforeADelimiter) {
  EXPECT_EQ(Framed(Framing::kChunked, "<a/>"), "\n#4\n<a/>\n##\n");
  EXPECT_EQ(Framed(Framing::kEndOfMessage, "<a/>"), "<a/>]]>]]>");
}

}  // namespace
}  // namespace ncdm::netconf
