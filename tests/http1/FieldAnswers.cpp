// SPDX-License-Identifier: Apache-2.0
// RFC 9112, 5: field-line = field-name ":" OWS field-value OWS
#include "Answers.h"

namespace httpclient::http1 {
namespace {

using namespace std::string_literals;

/// A row whose head has these lines.
Answer Lines(std::string name, const std::string& lines) {
    return {std::move(name), NO_CONTENT + lines + END};
}

Answer BadLines(std::string name, const std::string& lines, GrammarError error = GrammarError::BadField) {
    return Lines(std::move(name), lines).Fails(error);
}

Answers GoodFields() {
    return {
        Lines("one field", "A: b").Gives(204, {{"A", "b"}}),
        Lines("fields in order, twice the same, letters as they come", "b: 1\r\nA: 2\r\nB: 3\r\nb: 1")
            .Gives(204, {{"b", "1"}, {"A", "2"}, {"B", "3"}, {"b", "1"}}),
        Lines("blanks around the value", "A: \t b c \t ").Gives(204, {{"A", "b c"}}),
        Lines("no blank after the colon", "A:b").Gives(204, {{"A", "b"}}),
        Lines("an empty value", "A:\r\nB: \r\nC:\t ").Gives(204, {{"A", ""}, {"B", ""}, {"C", ""}}),
        Lines("colons in the value", "A: b:c: d").Gives(204, {{"A", "b:c: d"}}),
        Lines("other letters in the value", "A: \xC3\xA4\x80\xFF").Gives(204, {{"A", "\xC3\xA4\x80\xFF"}}),
        Lines("a tab in the value", "A: b\tc").Gives(204, {{"A", "b\tc"}}),
        Lines("every byte of a token in the name", "!#$%&'*+-.^_`|~09azAZ: b")
            .Gives(204, {{"!#$%&'*+-.^_`|~09azAZ", "b"}}),
        Lines("every visible byte in the value", "A: !\"#$%&'()*+,-./0:;<=>?@A[\\]^_`a{|}~")
            .Gives(204, {{"A", "!\"#$%&'()*+,-./0:;<=>?@A[\\]^_`a{|}~"}}),
        Lines("a line like a status line", "HTTP/1.1: 200 OK")
            .Fails(GrammarError::BadField), // "/" is no token
        Answer("bytes after the head", NO_CONTENT + "A: b" + END + "HTTP")
            .Gives(204, {{"A", "b"}})
            .Leaving(4),
    };
}

Answers BadFields() {
    return {
        BadLines("a blank before the colon", "A : b"),
        BadLines("a tab before the colon", "A\t: b"),
        BadLines("a blank in the name", "A B: c"),
        BadLines("no colon", "A"),
        BadLines("no colon, then a good field", "A\r\nB: c"),
        BadLines("no name", ": b"),
        BadLines("no name and no value", ":"),
        BadLines("a bracket in the name", "A(b): c"),
        BadLines("a quote in the name", "\"A\": c"),
        BadLines("a slash in the name", "A/b: c"),
        BadLines("other letters in the name", "\xC3\xA4: b"),
        BadLines("NUL in the name", "A\0: b"s),
        BadLines("DEL in the name", "A\x7F: b"),
        BadLines("NUL in the value", "A: b\0c"s),
        BadLines("a control character in the value", "A: b\x01"),
        BadLines("a vertical tab in the value", "A: b\x0B"),
        BadLines("a form feed in the value", "A: b\x0C"),
        BadLines("ESC in the value", "A: \x1B[2J"),
        BadLines("DEL in the value", "A: b\x7F"),
        BadLines("LF alone after a field", "A: b\nC: d", E::BadLineBreak),
        BadLines("LF alone in a value", "A: b\n", E::BadLineBreak),
        BadLines("CR alone in a value", "A: b\rC: d", E::BadLineBreak),
        BadLines("CR alone at the end of a value", "A: b\r\r\nC: d", E::BadLineBreak),
        BadLines("CR alone at the beginning of a line", "A: b\r\n\rC: d", E::BadLineBreak),
        BadLines("CR alone in a name", "A\rB: c", E::BadLineBreak),
        Answer("LF alone as the empty line", NO_CONTENT + "A: b\r\n\n").Fails(E::BadLineBreak),
        Answer("CR twice before the last LF", NO_CONTENT + "A: b\r\n\r\r\n\r\n").Fails(E::BadLineBreak),
        Answer("CR alone in a head that does not end", NO_CONTENT + "A: b\rC: d\r\nE: f")
            .Fails(E::BadLineBreak),
        Answer("a head that ends amid a field", NO_CONTENT + "A: b\r\nC: ").Fails(E::EndedEarly),
        Answer("a head without its empty line", NO_CONTENT + "A: b\r\n").Fails(E::EndedEarly),
    };
}

/// RFC 9112, 5.2
Answers FoldedFields() {
    const std::string longValue(2100, 'x');
    return {
        Lines("a folded value", "A: b\r\n c").Gives(204, {{"A", "b c"}}),
        Lines("a value folded with a tab", "A: b\r\n\tc").Gives(204, {{"A", "b c"}}),
        Lines("blanks on both sides of the fold", "A: b \t\r\n \t c").Gives(204, {{"A", "b c"}}),
        Lines("several folds", "A: b\r\n c\r\n d\r\nE: f\r\n g").Gives(204, {{"A", "b c d"}, {"E", "f g"}}),
        Lines("a fold that begins the value", "A:\r\n b").Gives(204, {{"A", "b"}}),
        Lines("a fold of blanks", "A: b\r\n \t \r\n c").Gives(204, {{"A", "b c"}}),
        Lines("a fold that leaves the value empty", "A:\r\n \r\nB: c").Gives(204, {{"A", ""}, {"B", "c"}}),
        Lines("a fold of blanks at the end", "A: b\r\n ").Gives(204, {{"A", "b"}}),
        Lines("a colon in the fold", "A: b\r\n C: d").Gives(204, {{"A", "b C: d"}}),
        // Beast keeps folded values in a place of its own, of 4,096 bytes.
        Lines("a long folded value", "A: " + longValue + "\r\n " + longValue + "\r\nB: c")
            .Gives(204, {{"A", longValue + " " + longValue}, {"B", "c"}}),
        Answer("a folded length", "HTTP/1.1 200 OK\r\nContent-Length:\r\n 5" + END + "hello")
            .Gives(200, {{"Content-Length", "5"}}, "hello"),
        Answer("a length folded amid its digits",
               "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n 5" + END + "hello")
            .Fails(E::BadFraming),
        BadLines("a fold before the first field", " A: b"),
        BadLines("a tab before the first field", "\tA: b"),
        BadLines("a line of blanks before the first field", " \r\nA: b"),
        BadLines("a fold before the colon", "A\r\n : b"),
        BadLines("LF alone before a fold", "A: b\n c", E::BadLineBreak),
        BadLines("NUL in a fold", "A: b\r\n \0"s),
        BadLines("CR alone before a fold", "A: b\r c", E::BadLineBreak),
    };
}

Answers ManyFields() {
    std::string lines;
    FieldList fields;
    for (int i = 0; i < 60; ++i) { // more than a head keeps without memory of their own
        fields.emplace_back("N" + std::to_string(i), "v" + std::to_string(i));
        lines += (i == 0 ? "" : "\r\n") + fields.back().first + ": " + fields.back().second;
    }
    return {Lines("sixty fields", lines).Gives(204, fields)};
}

} // namespace

Answers FieldAnswers() {
    Answers answers;
    for (const Answers& part : {GoodFields(), BadFields(), FoldedFields(), ManyFields()}) {
        answers.insert(answers.end(), part.begin(), part.end());
    }
    return answers;
}

} // namespace httpclient::http1
