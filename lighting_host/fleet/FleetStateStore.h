#pragma once

#include "embedded_host/StateStore.h"
#include "lighting_host/fleet/FleetBus.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace lighting_host
{
// The states of one house in a bucket of the fleet, under the token of one owner. Each save
// replaces what this owner saved last; once a later owner has been there nothing can be saved any
// more. A save waits for its answer.
class FleetStateStore : public embedded_host::StateStore
{
public:
    struct Owner
    {
        std::uint64_t token = 0;
        // Whether the house is its owner's at this moment.
        std::function<bool()> owns;
        // How long an answer is waited for, in milliseconds.
        std::int64_t waitMs = 400;
    };

    // Takes the states over: reads them and writes them back under the token, so that an earlier
    // owner's saves are refused from now on. `bucket` must outlive this. Throws StateStoreError
    // when that cannot be done, and when a later owner was there.
    FleetStateStore(Bucket& bucket, std::string house, Owner owner);

    std::optional<std::string> Load(const std::string& driver, const std::string& type) override;
    std::vector<std::string> TypesOf(const std::string& driver) override;
    void Save(const std::vector<embedded_host::DriverState>& states) override;
    void Close() override { m_closed = true; }

private:
    using States = std::map<std::pair<std::string, std::string>, std::string>;

    void TakeOver();
    void Read();
    bool Write(const States& states);
    void RequireOpen() const;

    Bucket& m_bucket;
    const std::string m_house;
    const Owner m_owner;
    States m_states;
    // Of what stands in the bucket, as far as is known.
    std::uint64_t m_revision = 0;
    std::uint64_t m_tokenThere = 0;
    std::string m_why;
    bool m_closed = false;
};
} // namespace lighting_host
