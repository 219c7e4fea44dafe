#pragma once

#include "tests/drivers/BusHouse.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <utility>

#include <gtest/gtest.h>

namespace bus_test
{
// Books on every message of every driver, from what the log says and from what the keypads heard.
// Each message is known by its number; a driver must not send more than 65535 of them. A second
// fate for a message fails the test.
class MessageLedger : public BusHouse::Witness
{
public:
    enum Fate : int
    {
        WAITS,
        ANSWERED,
        REPLACED,
        DROPPED,
        GIVEN_UP,
        TOO_LATE,
        FATES,
    };

    struct Account
    {
        std::map<unsigned, Fate> messages;
        std::deque<unsigned> queue;
        // What the keypad heard, and when the first time.
        std::map<unsigned, std::chrono::milliseconds> heardAt;
        std::map<unsigned, std::chrono::milliseconds> queuedAt;
        std::size_t longestQueue = 0;
        std::size_t heardTwice = 0;
        // The front is known to be too late and about to be removed.
        bool frontIsLate = false;

        std::size_t Count(Fate fate) const
        {
            std::size_t count = 0;
            for (const auto& message : messages)
                count += message.second == fate;
            return count;
        }
    };

    explicit MessageLedger(BusHouse& house) : m_house(house) { house.witness = this; }
    ~MessageLedger() override { m_house.witness = nullptr; }

    // Lets the keypad tell what it hears.
    void Watch(simulated::BusKeypad& keypad)
    {
        keypad.onHeard = [this, device = keypad.Address()](std::uint16_t number)
        {
            Account& account = m_accounts[device];
            if (!account.heardAt.emplace(number, m_house.Now()).second)
                ++account.heardTwice;
        };
    }

    const Account& Of(unsigned device) { return m_accounts[device]; }

    void OnQueueing(unsigned device, const std::string& payload) override
    {
        const std::vector<std::uint8_t> octets = DecodeBase64(payload);
        ASSERT_GE(octets.size(), 2u);
        const unsigned number = octets[0] * 256u + octets[1];
        Account& account = m_accounts[device];
        ASSERT_TRUE(account.messages.emplace(number, WAITS).second) << number << " came twice";
        account.queuedAt[number] = m_house.Now();
        account.queue.push_back(number);
        account.longestQueue = std::max(account.longestQueue, account.queue.size());
    }
    void OnDropped(unsigned device) override
    {
        Account& account = m_accounts[device];
        Settle(account, account.queue.size() - 1, DROPPED);
    }
    void OnReplaced(unsigned device) override
    {
        Account& account = m_accounts[device];
        ASSERT_GE(account.queue.size(), 3u) << "the front was replaced";
        Settle(account, account.queue.size() - 2, REPLACED);
    }
    void OnAnswered(unsigned device) override
    {
        Account& account = m_accounts[device];
        Settle(account, 0, std::exchange(account.frontIsLate, false) ? TOO_LATE : ANSWERED);
    }
    void OnTooLate(unsigned device) override { m_accounts[device].frontIsLate = true; }
    void OnGivenUp(unsigned device) override
    {
        Account& account = m_accounts[device];
        while (!account.queue.empty())
            Settle(account, 0, GIVEN_UP);
    }

private:
    static void Settle(Account& account, std::size_t place, Fate fate)
    {
        ASSERT_LT(place, account.queue.size());
        Fate& settled = account.messages[account.queue[place]];
        EXPECT_EQ(settled, WAITS) << "two fates for one message";
        settled = fate;
        account.queue.erase(account.queue.begin() + static_cast<std::ptrdiff_t>(place));
    }

    BusHouse& m_house;
    std::map<unsigned, Account> m_accounts;
};
} // namespace bus_test
