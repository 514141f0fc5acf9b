#include <array>
#include <sstream>
#include <utility>

#include "tools/gateway-simulator/ConsoleCommand.h"
#include "tools/gateway-simulator/LockText.h"

namespace Simulator {
namespace {

constexpr std::uint32_t kLargestCapacity = 1'000'000;
constexpr std::uint32_t kLargestBatteryValue = 3;

constexpr std::array<std::pair<const char*, Lock::StatusFlag>, 4> kFlagNames = {{
    {"mechanical", Lock::StatusFlag::kMechanicalActive},
    {"warning", Lock::StatusFlag::kBatteryWarning},
    {"alarm", Lock::StatusFlag::kBatteryAlarm},
    {"bit6", Lock::StatusFlag::kBitSix},
}};

Lock::StatusFlag ParseFlagName(Arguments& arguments) {
    const std::string word = arguments.Word("FLAG");
    for (const auto& [name, flag] : kFlagNames) {
        if (word == name) {
            return flag;
        }
    }
    throw CommandError("FLAG must be mechanical, warning, alarm or bit6, not \"" + word + "\"");
}

// An action that changes one lock.
Action Changing(std::uint32_t address, const std::function<void(Lock& lock)>& change) {
    return Silent([=](GatewaySimulator& gateway) { RequireLock(gateway.ChangeLock(address, change), address); });
}

Action ParseAddLock(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    return Silent([=](GatewaySimulator& gateway) {
        if (!gateway.AddLock(address)) {
            throw CommandError("lock " + std::to_string(address) + " already exists");
        }
    });
}

Action ParseRemoveLock(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    return Silent([=](GatewaySimulator& gateway) { RequireLock(gateway.RemoveLock(address), address); });
}

Action ParseStatus(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const Lock::StatusBytes status = arguments.SevenBytes("HEX");
    return Changing(address, [=](Lock& lock) { lock.SetStatus(status); });
}

Action ParseBattery(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const auto status = static_cast<std::uint8_t>(arguments.Number("STATUS", kLargestBatteryValue));
    const auto level = static_cast<std::uint8_t>(arguments.Number("LEVEL", kLargestBatteryValue));
    return [=](GatewaySimulator& gateway) {
        RequireLock(gateway.ChangeLock(address, [=](Lock& lock) { lock.SetBattery(status, level); }), address);
        return "lock " + std::to_string(address) + " now reports: " + BatteryText(status, level);
    };
}

Action ParseFlag(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const Lock::StatusFlag flag = ParseFlagName(arguments);
    const bool isOn = arguments.OnOrOff("on|off");
    return Changing(address, [=](Lock& lock) { lock.SetFlag(flag, isOn); });
}

Action ParseCapacity(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const std::size_t capacity = arguments.Number("CARDS", kLargestCapacity);
    return Changing(address, [=](Lock& lock) { lock.Cards().SetCapacity(capacity); });
}

Action ParseSetupNumber(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const std::optional<std::uint8_t> number = arguments.ByteOrAny("NUMBER");
    return Changing(address, [=](Lock& lock) { lock.Cards().DemandSetupNumber(number); });
}

Action ParseCardLength(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    const std::optional<std::uint8_t> length = arguments.ByteOrAny("BYTES");
    return Changing(address, [=](Lock& lock) { lock.Cards().DemandCardLength(length); });
}

std::string DescribeLock(const Lock& lock) {
    const Lock::StatusBytes& status = lock.Status();
    std::ostringstream text;
    text << "lock " << lock.Address() << ": " << StateText(lock.StateAt(Lock::Clock::now())) << ", status "
         << ToHex(Bytes(status.begin(), status.end())) << ", whitelist "
         << (lock.Cards().IsEnabled() ? "enabled" : "disabled") << ", " << lock.Cards().Entries().size() << " of "
         << lock.Cards().Capacity() << " cards" << (lock.PendingEvent() ? ", event pending" : "");
    return text.str();
}

std::string ListLocks(const GatewaySimulator& gateway) {
    std::string list = "counter " + std::to_string(gateway.Counter());
    for (const Lock& lock : gateway.Locks()) {
        list += "\n" + DescribeLock(lock);
    }
    return list;
}

Action ParseLocks(Arguments& /*arguments*/) {
    return ListLocks;
}

std::string ListCards(const Lock& lock) {
    std::ostringstream list;
    list << "whitelist of lock " << lock.Address() << ": " << lock.Cards().Entries().size() << " cards";
    for (const Whitelist::Entry& entry : lock.Cards().Entries()) {
        list << "\n  " << ToHex(entry.card) << " setup " << int{entry.setupNumber} << " option " << int{entry.option};
    }
    return list.str();
}

Action ParseCards(Arguments& arguments) {
    const std::uint32_t address = arguments.Number("ADDRESS");
    return [=](GatewaySimulator& gateway) {
        const std::optional<Lock> lock = gateway.FindLock(address);
        RequireLock(lock.has_value(), address);
        return ListCards(*lock);
    };
}

}  // namespace

std::vector<ConsoleCommand> LockSettingCommands() {
    return {
        {"locks", "", "List the locks", ParseLocks},
        {"add-lock", "ADDRESS", "Add a lock", ParseAddLock},
        {"remove-lock", "ADDRESS", "Remove a lock; answer its requests with 8", ParseRemoveLock},
        {"status", "ADDRESS HEX", "Set a lock's status, 7 bytes", ParseStatus},
        {"battery", "ADDRESS STATUS LEVEL", "Set a lock's battery, 0 to 3 each", ParseBattery},
        {"flag", "ADDRESS FLAG on|off", "Set a flag: mechanical, warning, alarm or bit6", ParseFlag},
        {"cards", "ADDRESS", "List a lock's whitelist", ParseCards},
        {"capacity", "ADDRESS CARDS", "Set the capacity of a lock's whitelist", ParseCapacity},
        {"setup-number", "ADDRESS NUMBER|any", "Require a setup number; answer others with 11", ParseSetupNumber},
        {"card-length", "ADDRESS BYTES|any", "Require a card length; answer others with 9", ParseCardLength},
    };
}

}  // namespace Simulator
