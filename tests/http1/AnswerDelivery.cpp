// SPDX-License-Identifier: Apache-2.0
#include "AnswerDelivery.h"

#include <algorithm>
#include <cstring>

namespace httpclient::http1 {
namespace {

using Event = ResponseReader::Event;

class Delivery {
public:
    Delivery(const Answer& answer, const Pieces& pieces, Taking taking, const Limits& limits)
        : m_answer(answer), m_pieces(pieces), m_taking(taking),
          m_reader(answer.method, limits, answer.decode, m_head) {}

    Reading Run() {
        Event event = Event::More;
        while (event != Event::End && event != Event::Error) {
            event = event == Event::More ? Receive() : Feed();
            if (event == Event::Head) {
                Choose();
            } else if (event == Event::Piece) {
                m_reading.body += m_reader.piece();
            }
        }
        return Result(event);
    }

private:
    /// The reader wants more than has arrived: the next piece, or the end.
    Event Receive() {
        if (m_arrived == m_answer.bytes.size()) {
            return m_reader.FeedEnd(m_answer.clean).event;
        }
        const std::size_t size = std::min(m_pieces(m_arrived), m_answer.bytes.size() - m_arrived);
        if (m_taking == Taking::Direct) {
            const ResponseReader::Room room = m_reader.DirectRoom(size);
            if (room.data != nullptr) {
                std::memcpy(room.data, m_answer.bytes.data() + m_arrived, room.size);
                m_arrived += room.size;
                m_used = m_arrived;
                return m_reader.DirectFilled(room.size);
            }
        }
        m_arrived += size;
        return Feed();
    }

    Event Feed() {
        // Each time at a place of its own: what was fed before is not beside it, and is gone.
        m_fed.assign(m_answer.bytes.begin() + static_cast<std::ptrdiff_t>(m_used),
                     m_answer.bytes.begin() + static_cast<std::ptrdiff_t>(m_arrived));
        m_fed.shrink_to_fit();
        const ResponseReader::Progress progress = m_reader.Feed(m_fed.data(), m_fed.size());
        m_used += progress.consumed;
        return progress.event;
    }

    void Choose() {
        if (m_taking == Taking::HandedOver) {
            m_reader.HandOverBody();
        } else {
            m_reader.KeepBody(m_reading.body);
        }
    }

    Reading Result(Event event) {
        if (event == Event::Error) {
            m_reading.error = static_cast<GrammarError>(m_reader.error().value());
            return m_reading;
        }
        m_reading.status = m_head.status;
        for (std::size_t i = 0; i < m_head.size(); ++i) {
            m_reading.fields.emplace_back(m_head.at(i));
        }
        m_reading.keepAlive = m_reader.keepAlive();
        m_reading.surplus = m_answer.bytes.size() - m_used;
        return m_reading;
    }

    const Answer& m_answer;
    const Pieces& m_pieces;
    const Taking m_taking;
    std::size_t m_arrived = 0;
    std::size_t m_used = 0;
    std::vector<char> m_fed; ///< lives until the next call: a piece is a view into it
    ResponseHead m_head;
    Reading m_reading;
    ResponseReader m_reader;
};

} // namespace

Reading Deliver(const Answer& answer, const Pieces& pieces, Taking taking, const Limits& limits) {
    return Delivery(answer, pieces, taking, limits).Run();
}

Pieces Whole() {
    return [](std::size_t) { return std::string::npos; };
}

Pieces ByteByByte() {
    return [](std::size_t) { return 1; };
}

Pieces SplitAt(std::size_t place) {
    return [place](std::size_t at) { return at < place ? place - at : std::string::npos; };
}

std::ostream& operator<<(std::ostream& out, const Reading& reading) {
    if (reading.error != GrammarError{}) {
        return out << make_error_code(reading.error).message();
    }
    out << reading.status << (reading.keepAlive ? " kept, " : " closed, ") << reading.surplus
        << " left over\n";
    for (const auto& [name, value] : reading.fields) {
        out << name << "=[" << value << "]\n";
    }
    constexpr std::size_t ENOUGH = 200;
    return out << "body of " << reading.body.size() << " bytes: " << reading.body.substr(0, ENOUGH);
}

} // namespace httpclient::http1
