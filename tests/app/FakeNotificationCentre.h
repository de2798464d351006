#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "Services/NotificationCentre.h"

namespace ledgerfern {

/// Notifications that nobody sees: keeps what is posted, and answers when the test says so.
class FakeNotificationCentre : public NotificationCentre {
public:
    explicit FakeNotificationCentre(bool isUsable = true) : isUsable_(isUsable) {}

    bool isUsable() const override { return isUsable_; }
    void fetchAuthorization(std::function<void(Authorization)> answer) override {
        ++fetchCount;
        fetches_.push_back(std::move(answer));
    }
    void requestAuthorization(std::function<void(bool)> answer) override {
        ++requestCount;
        requests_.push_back(std::move(answer));
    }
    void post(const Notification& notification) override { posted.push_back(notification); }

    /// Answer what has been asked by now.
    void answerFetches(Authorization status) { answer(fetches_, status); }
    void answerRequests(bool isAllowed) { answer(requests_, isAllowed); }

    int fetchCount = 0;
    int requestCount = 0;
    std::vector<Notification> posted;

private:
    template <class Question, class Answer>
    static void answer(std::vector<Question>& questions, Answer answer) {
        for (const Question& question : std::exchange(questions, {}))
            question(answer);
    }

    bool isUsable_;
    std::vector<std::function<void(Authorization)>> fetches_;
    std::vector<std::function<void(bool)>> requests_;
};

}  // namespace ledgerfern
