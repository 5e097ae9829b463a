#include "host/history/HistoryWriter.h"

#include "host/history/HistoryBucket.h"
#include "host/history/HistoryFile.h"
#include "host/history/HistoryRetention.h"
#include "host/history/SampleCode.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace Rvl {

namespace {

/// When moments are put together to stretches: not before this time, unless there are many.
constexpr std::int64_t stretchTime_ms = 30'000;
constexpr std::size_t fewMoments = 50;
constexpr std::int64_t longestWait_ms = 600'000;
constexpr std::size_t manySamples = 200'000;

constexpr const char* addLevel = R"(
INSERT INTO level VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)
ON CONFLICT DO UPDATE SET mode = mode | excluded.mode, health = max(health, excluded.health),
    setMinimum = min(ifnull(setMinimum, excluded.setMinimum), ifnull(excluded.setMinimum, setMinimum)),
    setMaximum = max(ifnull(setMaximum, excluded.setMaximum), ifnull(excluded.setMaximum, setMaximum)),
    setSum = setSum + excluded.setSum, setCount = setCount + excluded.setCount,
    actualMinimum =
        min(ifnull(actualMinimum, excluded.actualMinimum), ifnull(excluded.actualMinimum, actualMinimum)),
    actualMaximum =
        max(ifnull(actualMaximum, excluded.actualMaximum), ifnull(excluded.actualMaximum, actualMaximum)),
    actualSum = actualSum + excluded.actualSum, actualCount = actualCount + excluded.actualCount,
    controlMinimum =
        min(ifnull(controlMinimum, excluded.controlMinimum), ifnull(excluded.controlMinimum, controlMinimum)),
    controlMaximum =
        max(ifnull(controlMaximum, excluded.controlMaximum), ifnull(excluded.controlMaximum, controlMaximum)),
    controlSum = controlSum + excluded.controlSum, controlCount = controlCount + excluded.controlCount
)";

void bindValues(SQLite::Statement& statement, int first, const SValueSum& values)
{
    statement.bind(first, values.count);
    statement.bind(first + 3, values.sum);
    if (values.count > 0) {
        statement.bind(first + 1, values.minimum);
        statement.bind(first + 2, values.maximum);
    }
}

/// Consecutive samples that may stand in one stretch: times that do not go back, and not too long.
std::vector<SCodedSample>::const_iterator endOfStretch(std::vector<SCodedSample>::const_iterator begin,
                                                       std::vector<SCodedSample>::const_iterator end)
{
    auto last = begin;
    for (auto next = begin + 1; next != end; last = next++) {
        if (next->time_ms < last->time_ms || next->time_ms - begin->time_ms > longestStretch_ms) {
            return next;
        }
    }
    return end;
}

} // namespace

struct CHistoryWriter::Private
{
    Private(const std::filesystem::path& path, const SHistoryRetention& retained)
        : database(openHistoryForWriting(path)), retention(database, retained),
          addMoment(database, "INSERT INTO moment(time, samples) VALUES(?, ?)"),
          addEvent(database, "INSERT INTO event(time, kind, controller, text) VALUES(?, ?, ?, ?)"),
          addStretch(database, "INSERT INTO stretch(controller, begin, end, count, samples) "
                               "VALUES(?, ?, ?, ?, ?)"),
          addToLevel(database, addLevel)
    {}

    void countMoments();
    void maintain();
    void add(const SHistoryMoment& moment);
    void add(const SHistoryEvent& event);
    bool isStretchDue() const;
    void makeStretches();
    void addStretches(std::uint32_t controller, const std::vector<SCodedSample>& samples,
                      const std::map<std::uint32_t, EHealth>& kinds);
    void addLevels(std::uint32_t controller, const std::vector<SCodedSample>& samples,
                   const std::map<std::uint32_t, EHealth>& kinds);

    SQLite::Database database;
    CHistoryRetention retention;
    SQLite::Statement addMoment;
    SQLite::Statement addEvent;
    SQLite::Statement addStretch;
    SQLite::Statement addToLevel;
    std::vector<std::uint32_t> controllers; ///< their numbers in the file
    std::map<std::string, std::uint32_t> controllerIds;
    std::vector<std::uint32_t> healths;
    /// What stands in the file as single moments, of this and of other runs. Counted anew after what may
    /// have changed it otherwise than by adding one.
    bool isCounted = false;
    std::size_t moments = 0;
    std::size_t samples = 0;
    std::optional<std::int64_t> firstMoment_ms;
    std::int64_t lastMoment_ms = 0;
};

void CHistoryWriter::Private::countMoments()
{
    SQLite::Statement count(database,
                            "SELECT count(*), min(time), max(time), sum(length(samples)) FROM moment");
    count.executeStep();
    moments = static_cast<std::size_t>(count.getColumn(0).getInt64());
    samples = static_cast<std::size_t>(count.getColumn(3).getInt64()) / CMomentCode::sampleLength;
    firstMoment_ms.reset();
    if (moments > 0) {
        firstMoment_ms = count.getColumn(1).getInt64();
        lastMoment_ms = count.getColumn(2).getInt64();
    }
    isCounted = true;
}

/// What is to be done besides, in transactions of its own: that it fails must not have a batch written twice.
/// It is tried again after the next batch, which fails as well, and is reported, if the disk is the reason.
void CHistoryWriter::Private::maintain()
{
    try {
        if (!isCounted) {
            countMoments();
            retention.begin(lastMoment_ms);
        }
        if (isStretchDue()) {
            isCounted = false;
            SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
            makeStretches();
            transaction.commit();
            retention.begin(lastMoment_ms);
            countMoments();
        }
        retention.step();
    } catch (const SQLite::Exception&) {
        for (SQLite::Statement* const statement : {&addStretch, &addToLevel}) {
            statement->tryReset();
            statement->clearBindings();
        }
    }
}

void CHistoryWriter::Private::add(const SHistoryMoment& moment)
{
    std::string code;
    code.reserve(moment.states.size() * CMomentCode::sampleLength);
    for (std::size_t i = 0; i < moment.states.size(); ++i) {
        const SHistoryState& state = moment.states[i];
        CMomentCode::append(
            code, controllers.at(i),
            {0, state.setPoint, state.actualValue, state.controlValue,
             healths.at(state.health) * 4 + (state.enabled ? 2U : 0U) + (state.manual ? 1U : 0U)});
    }
    const std::int64_t time_ms = millisecondsOf(moment.time);
    addMoment.bind(1, time_ms);
    addMoment.bindNoCopy(2, code.data(), static_cast<int>(code.size()));
    addMoment.exec();
    addMoment.reset();
    firstMoment_ms = std::min(firstMoment_ms.value_or(time_ms), time_ms);
    lastMoment_ms = time_ms;
    ++moments;
    samples += moment.states.size();
}

void CHistoryWriter::Private::add(const SHistoryEvent& event)
{
    addEvent.bind(1, millisecondsOf(event.time));
    addEvent.bind(2, static_cast<int>(event.kind));
    const auto found = controllerIds.find(event.channel);
    if (found != controllerIds.end()) {
        addEvent.bind(3, found->second);
    } else {
        addEvent.bind(3); // null
    }
    addEvent.bind(4, event.text);
    addEvent.exec();
    addEvent.reset();
}

bool CHistoryWriter::Private::isStretchDue() const
{
    if (!firstMoment_ms) {
        return false;
    }
    const std::int64_t age_ms = lastMoment_ms - *firstMoment_ms;
    return samples >= manySamples || age_ms >= longestWait_ms || age_ms < 0 ||
           (age_ms >= stretchTime_ms && moments >= fewMoments);
}

/// Within a transaction: what stands in the file as single moments is put together by controllers, in few
/// bytes, and added to the coarser levels.
void CHistoryWriter::Private::makeStretches()
{
    std::map<std::uint32_t, std::vector<SCodedSample>> byController;
    SQLite::Statement query(database, "SELECT time, samples FROM moment ORDER BY id");
    while (query.executeStep()) {
        const std::int64_t time_ms = query.getColumn(0).getInt64();
        const SQLite::Column column = query.getColumn(1);
        const std::string_view code = codeIn(column);
        for (std::size_t i = 0; i < CMomentCode::count(code); ++i) {
            byController[CMomentCode::controllerAt(code, i)].push_back(
                CMomentCode::sampleAt(code, i, time_ms));
        }
    }
    query.reset();
    std::map<std::uint32_t, EHealth> kinds;
    SQLite::Statement healthQuery(database, "SELECT id, kind FROM health");
    while (healthQuery.executeStep()) {
        kinds[healthQuery.getColumn(0).getUInt()] = static_cast<EHealth>(healthQuery.getColumn(1).getInt());
    }
    for (const auto& [controller, all] : byController) {
        addStretches(controller, all, kinds);
    }
    database.exec("DELETE FROM moment");
}

void CHistoryWriter::Private::addStretches(std::uint32_t controller, const std::vector<SCodedSample>& all,
                                           const std::map<std::uint32_t, EHealth>& kinds)
{
    for (auto begin = all.cbegin(); begin != all.cend();) {
        const auto end = endOfStretch(begin, all.cend());
        const std::vector<SCodedSample> stretch(begin, end);
        const std::string code = encodeSamples(stretch);
        addStretch.bind(1, controller);
        addStretch.bind(2, stretch.front().time_ms);
        addStretch.bind(3, stretch.back().time_ms);
        addStretch.bind(4, static_cast<std::int64_t>(stretch.size()));
        addStretch.bindNoCopy(5, code.data(), static_cast<int>(code.size()));
        addStretch.exec();
        addStretch.reset();
        addLevels(controller, stretch, kinds);
        begin = end;
    }
}

void CHistoryWriter::Private::addLevels(std::uint32_t controller, const std::vector<SCodedSample>& stretch,
                                        const std::map<std::uint32_t, EHealth>& kinds)
{
    for (const std::int64_t length_ms : historyLevels_ms) {
        std::map<std::int64_t, SHistoryBucket> buckets;
        for (const SCodedSample& sample : stretch) {
            const auto kind = kinds.find(sample.state / 4);
            buckets[beginOf(sample.time_ms, length_ms)].add(sample,
                                                            kind == kinds.end() ? EHealth::Ok : kind->second);
        }
        for (const auto& [begin_ms, bucket] : buckets) {
            addToLevel.bind(1, controller);
            addToLevel.bind(2, length_ms);
            addToLevel.bind(3, begin_ms);
            addToLevel.bind(4, (bucket.enabled ? 2 : 0) + (bucket.manual ? 1 : 0));
            addToLevel.bind(5, static_cast<int>(bucket.health));
            bindValues(addToLevel, 6, bucket.setPoint);
            bindValues(addToLevel, 10, bucket.actualValue);
            bindValues(addToLevel, 14, bucket.controlValue);
            addToLevel.exec();
            addToLevel.reset();
            addToLevel.clearBindings();
        }
    }
}

CHistoryWriter::CHistoryWriter(const std::filesystem::path& file, const SHistoryRetention& retention)
    : private_(std::make_unique<Private>(file, retention))
{}

CHistoryWriter::~CHistoryWriter()
{
    try {
        SQLite::Transaction transaction(private_->database, SQLite::TransactionBehavior::IMMEDIATE);
        private_->makeStretches();
        transaction.commit();
    } catch (const std::exception&) {
        // the next run does it
    }
}

void CHistoryWriter::define(const std::vector<SHistoryController>& controllers,
                            const std::vector<SHealth>& healths)
{
    std::vector<std::uint32_t> controllerNumbers;
    std::vector<std::uint32_t> healthNumbers;
    SQLite::Database& database = private_->database;
    SQLite::Transaction transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
    SQLite::Statement addController(database, "INSERT INTO controller(name, unit) VALUES(?, ?) "
                                              "ON CONFLICT DO UPDATE SET unit = excluded.unit RETURNING id");
    for (const SHistoryController& controller : controllers) {
        addController.bind(1, controller.name);
        addController.bind(2, controller.unit);
        addController.executeStep();
        controllerNumbers.push_back(addController.getColumn(0).getUInt());
        addController.reset();
    }
    SQLite::Statement addHealth(database, "INSERT INTO health(kind, text) VALUES(?, ?) "
                                          "ON CONFLICT DO UPDATE SET text = text RETURNING id");
    for (const SHealth& health : healths) {
        addHealth.bind(1, static_cast<int>(health.kind));
        addHealth.bind(2, health.text);
        addHealth.executeStep();
        healthNumbers.push_back(addHealth.getColumn(0).getUInt());
        addHealth.reset();
    }
    transaction.commit();
    for (std::size_t i = 0; i < controllers.size(); ++i) {
        private_->controllerIds[controllers[i].name] = controllerNumbers[i];
    }
    private_->controllers = std::move(controllerNumbers);
    private_->healths = std::move(healthNumbers);
}

void CHistoryWriter::write(const SHistoryBatch& batch)
{
    Private& own = *private_;
    try {
        SQLite::Transaction transaction(own.database, SQLite::TransactionBehavior::IMMEDIATE);
        for (const SHistoryMoment& moment : batch.moments) {
            own.add(moment);
        }
        for (const SHistoryEvent& event : batch.events) {
            own.add(event);
        }
        transaction.commit();
    } catch (...) {
        // statements that failed must not be carried out again with the next one's values
        for (SQLite::Statement* const statement : {&own.addMoment, &own.addEvent}) {
            statement->tryReset();
        }
        own.isCounted = false;
        throw;
    }
    own.maintain();
}

} // namespace Rvl
