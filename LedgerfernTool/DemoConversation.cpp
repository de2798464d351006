#include "DemoConversation.h"

#include <algorithm>

namespace ledgerfern {

namespace {

using DemoTime::Milliseconds;

/// After so long without a request the cache may have dropped the prompt.
constexpr Milliseconds cacheLife = 5 * DemoTime::minute;
/// Nobody works longer than this without a night's rest.
constexpr Milliseconds workday = 9 * DemoTime::hour;

class Conversation {
public:
    Conversation(const DemoPace& pace, DemoRandom& random)
        : pace_(pace),
          random_(random),
          prompt_(random.between(pace.startup * 95 / 100, pace.startup * 105 / 100)) {}

    std::vector<DemoRequest> run() {
        for (std::int64_t i = 0; i < pace_.requests; ++i)
            addRequest(i + 1 == pace_.requests);
        return std::move(requests_);
    }

private:
    bool isFirst() const { return requests_.empty(); }

    Milliseconds between(Milliseconds low, Milliseconds high) { return random_.between(low, high); }

    Milliseconds userPause() {
        if (now_ - morning_ > workday) {
            const Milliseconds night = between(13 * DemoTime::hour, 15 * DemoTime::hour);
            morning_ = now_ + night;
            return night;
        }
        if (random_.chance(60)) return between(15 * DemoTime::second, 150 * DemoTime::second);
        if (random_.chance(65)) return between(150 * DemoTime::second, 9 * DemoTime::minute);
        return between(10 * DemoTime::minute, 80 * DemoTime::minute);
    }

    Milliseconds pauseBefore(const DemoRequest& request) {
        if (isFirst()) return between(3 * DemoTime::second, 9 * DemoTime::second);
        if (request.opensTurn && pace_.hasUser) return userPause();
        return between(4 * DemoTime::second, 32 * DemoTime::second);
    }

    void startTurn() {
        turnLeft_ = pace_.hasUser ? random_.between(3, 16) : pace_.requests;
        if (isFirst() || pace_.models < 2 || !random_.chance(35)) return;
        model_ = (model_ + 1) % pace_.models;
        isCacheLost_ = true;
    }

    void compactIfFull(DemoRequest& request) {
        if (prompt_ <= pace_.compactedAt) return;
        request.compacted = true;
        isCacheLost_ = true;
        prompt_ = pace_.startup + random_.between(9'000, 15'000);
    }

    std::int64_t cachedPart() {
        if (isFirst()) return prompt_ * random_.between(20, 45) / 100;
        const std::int64_t known = std::min(prompt_, requests_.back().input);
        if (isCacheLost_) return known * random_.between(6, 18) / 100;
        return known * pace_.cachePercent / 100;
    }

    void addRequest(bool isLast) {
        DemoRequest request;
        request.opensTurn = turnLeft_ == 0;
        isCacheLost_ = random_.between(0, 199) == 0;
        const Milliseconds pause = pauseBefore(request);
        now_ += pause;
        if (pause >= cacheLife && random_.chance(65)) isCacheLost_ = true;
        if (request.opensTurn) startTurn();
        compactIfFull(request);
        request.closesTurn = --turnLeft_ == 0 || isLast;
        request.at = now_;
        request.model = model_;
        request.input = prompt_;
        request.cached = cachedPart();
        request.output = random_.between(60, pace_.mostOutput);
        request.reasoning = request.output * random_.between(0, 60) / 100;
        prompt_ += request.output + pace_.growth * random_.between(25, 175) / 100;
        requests_.push_back(request);
    }

    const DemoPace& pace_;
    DemoRandom& random_;
    std::int64_t prompt_;
    std::vector<DemoRequest> requests_;
    Milliseconds now_ = 0;
    Milliseconds morning_ = 0;
    std::size_t model_ = 0;
    std::int64_t turnLeft_ = 0;
    bool isCacheLost_ = false;
};

}  // namespace

std::vector<DemoRequest> converse(const DemoPace& pace, DemoRandom& random) {
    return Conversation(pace, random).run();
}

}  // namespace ledgerfern
