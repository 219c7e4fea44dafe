#pragma once

#include "lighting_host/fleet/FleetBus.h"

#include <algorithm>
#include <list>
#include <map>
#include <mutex>

// A fleet's bus in this process, on a clock that is moved by hand. Answers inside the calls.
class FakeFleetBus : public lighting_host::FleetBus
{
public:
    using BucketEntry = lighting_host::BucketEntry;
    using Answer = lighting_host::BucketAnswer;

    struct Shared
    {
        std::int64_t ttlMs = 0;
        std::uint64_t lastRevision = 0;
        std::map<std::string, std::pair<BucketEntry, std::int64_t>> entries;
        std::list<lighting_host::Bucket::Watcher> watchers;
    };

    class FakeBucket : public lighting_host::Bucket
    {
    public:
        FakeBucket(FakeFleetBus& bus, Shared& shared) : m_bus(bus), m_shared(shared) {}
        ~FakeBucket() override
        {
            if (m_watches)
                m_shared.watchers.erase(m_watcher);
        }
        void Write(const std::string& key, const std::string& value, std::uint64_t expected,
                   Done done) override
        {
            done(Store({key, value, 0, false}, expected));
        }
        void Remove(const std::string& key, std::uint64_t expected, Done done) override
        {
            done(Store({key, "", 0, true}, expected));
        }
        BucketEntry Get(const std::string& key) override
        {
            Expire();
            const auto found = m_shared.entries.find(key);
            return found == m_shared.entries.end() ? BucketEntry{key, "", 0, false}
                                                   : found->second.first;
        }
        std::vector<BucketEntry> All() override
        {
            Expire();
            std::vector<BucketEntry> all;
            for (const auto& entry : m_shared.entries)
            {
                if (!entry.second.first.removed)
                    all.push_back(entry.second.first);
            }
            return all;
        }
        void Watch(Watcher watcher) override
        {
            Expire();
            for (const auto& entry : m_shared.entries)
                watcher(entry.second.first);
            m_watcher = m_shared.watchers.insert(m_shared.watchers.end(), std::move(watcher));
            m_watches = true;
        }

    private:
        Answer Store(BucketEntry entry, std::uint64_t expected)
        {
            if (m_bus.isDown)
                return {Answer::Outcome::Unknown, 0, "down"};
            if (Get(entry.key).revision != expected)
                return {Answer::Outcome::Refused, 0, "another revision"};
            entry.revision = ++m_shared.lastRevision;
            m_shared.entries[entry.key] = {entry, m_bus.nowMs};
            for (const Watcher& watcher : m_shared.watchers)
                watcher(entry);
            return {Answer::Outcome::Written, entry.revision, ""};
        }
        void Expire()
        {
            for (auto at = m_shared.entries.begin(); at != m_shared.entries.end();)
            {
                const bool isOld =
                    m_shared.ttlMs > 0 && m_bus.nowMs - at->second.second >= m_shared.ttlMs;
                at = isOld ? m_shared.entries.erase(at) : std::next(at);
            }
        }

        FakeFleetBus& m_bus;
        Shared& m_shared;
        bool m_watches = false;
        std::list<Watcher>::iterator m_watcher;
    };

    std::unique_ptr<lighting_host::Bucket> OpenBucket(const std::string& name,
                                                      std::int64_t ttlMs) override
    {
        Shared& shared = m_buckets[name];
        shared.ttlMs = ttlMs;
        return std::make_unique<FakeBucket>(*this, shared);
    }
    bool Publish(const lighting_host::FleetMessage& message) override
    {
        for (const auto& listener : m_listeners)
        {
            if (Fits(listener.first, message.subject))
                listener.second(message);
        }
        return !isDown;
    }
    std::unique_ptr<Subscription> Subscribe(const std::string& subject, Handler handler) override
    {
        m_listeners.emplace_back(subject, std::move(handler));
        return std::make_unique<Ending>(*this, std::prev(m_listeners.end()));
    }
    bool IsConnected() const override { return !isDown; }

    std::int64_t nowMs = 0;
    bool isDown = false;

private:
    using Listeners = std::list<std::pair<std::string, Handler>>;
    struct Ending : Subscription
    {
        Ending(FakeFleetBus& of, Listeners::iterator at) : bus(of), place(at) {}
        ~Ending() override { bus.m_listeners.erase(place); }
        FakeFleetBus& bus;
        Listeners::iterator place;
    };

    static bool Fits(const std::string& pattern, const std::string& subject)
    {
        const std::size_t star = pattern.find('*');
        if (star == std::string::npos)
            return pattern == subject;
        const std::string tail = pattern.substr(star + 1);
        return subject.size() > star + tail.size() &&
               subject.compare(0, star, pattern, 0, star) == 0 &&
               subject.compare(subject.size() - tail.size(), tail.size(), tail) == 0 &&
               subject.substr(star, subject.size() - tail.size() - star).find('.') ==
                   std::string::npos;
    }

    std::map<std::string, Shared> m_buckets;
    Listeners m_listeners;
};
