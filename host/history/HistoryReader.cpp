#include "host/history/HistoryReader.h"

#include "host/base/HostException.h"
#include "host/base/SystemText.h"
#include "host/history/HistoryBucket.h"
#include "host/history/HistoryFile.h"
#include "host/history/HistoryRows.h"
#include "host/history/SampleCode.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>

namespace Rvl {

namespace {

/// Stretches that are read in one transaction: a long one would keep the writer from using its log again.
constexpr std::int64_t stretchesAtOnce = 200;

SValueSum valuesIn(SQLite::Statement& row, int first)
{
    SValueSum result;
    result.count = row.getColumn(first).getInt64();
    if (result.count > 0) {
        result.minimum = row.getColumn(first + 1).getDouble();
        result.maximum = row.getColumn(first + 2).getDouble();
        result.sum = row.getColumn(first + 3).getDouble();
    }
    return result;
}

/// The least multiple of `length_ms` that is no less than `time_ms`.
std::int64_t roundedUp(std::int64_t time_ms, std::int64_t length_ms)
{
    return (time_ms + length_ms - 1) / length_ms * length_ms;
}

bool isEarlier(const SCodedSample& one, const SCodedSample& other)
{
    return one.time_ms < other.time_ms;
}

} // namespace

struct CHistoryReader::Private
{
    using Take = std::function<void(const SCodedSample&)>;

    explicit Private(const std::filesystem::path& path) : file(path), database(openHistoryForReading(path)) {}

    template <class Action> auto guarded(const Action& action)
    {
        try {
            return action();
        } catch (const CHostException&) {
            throw;
        } catch (const std::exception& exception) {
            throw CHostException(ExitFailure,
                                 "cannot read the history " + textOf(file) + ": " + exception.what());
        }
    }

    std::optional<std::int64_t> find(const std::string& channel);
    const SHealth& healthOf(std::uint32_t health);
    std::vector<SCodedSample> lastSamples(std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms);
    void forEach(std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms, const Take& take);
    std::optional<std::int64_t> first(std::int64_t controller, std::int64_t length_ms);
    bool hasMoreThan(std::int64_t most, std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms);
    Buckets rowsOfLevel(std::int64_t controller, std::int64_t length_ms, std::int64_t from_ms,
                        std::int64_t to_ms, std::int64_t bucket_ms, bool withMoments);
    void addCoarser(std::int64_t controller, std::size_t level, std::int64_t from_ms, std::int64_t to_ms,
                    std::int64_t bucket_ms, Buckets& buckets);
    std::optional<SHistoryTrend> singleValues(std::int64_t controller, std::int64_t from_ms,
                                              std::int64_t to_ms, std::int64_t most);
    SHistoryTrend read(std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms, std::int64_t most);
    std::optional<SHistoryRange> range(bool withLevels);

    const std::filesystem::path file;
    SQLite::Database database;
    std::map<std::uint32_t, SHealth> healths;
};

std::optional<std::int64_t> CHistoryReader::Private::find(const std::string& channel)
{
    SQLite::Statement query(database, "SELECT id FROM controller WHERE name = ?");
    query.bind(1, channel);
    return query.executeStep() ? std::optional<std::int64_t>(query.getColumn(0).getInt64()) : std::nullopt;
}

const SHealth& CHistoryReader::Private::healthOf(std::uint32_t health)
{
    auto found = healths.find(health);
    if (found == healths.end()) {
        SQLite::Statement query(database, "SELECT kind, text FROM health WHERE id = ?");
        query.bind(1, health);
        if (!query.executeStep()) {
            throw std::runtime_error("it has no health of number " + std::to_string(health));
        }
        found = healths
                    .emplace(health, SHealth{static_cast<EHealth>(query.getColumn(0).getInt()),
                                             query.getColumn(1).getString()})
                    .first;
    }
    return found->second;
}

/// Those that still stand in the file as moments.
std::vector<SCodedSample> CHistoryReader::Private::lastSamples(std::int64_t controller, std::int64_t from_ms,
                                                               std::int64_t to_ms)
{
    std::vector<SCodedSample> result;
    SQLite::Statement query(database,
                            "SELECT time, samples FROM moment WHERE time BETWEEN ? AND ? ORDER BY id");
    query.bind(1, from_ms);
    query.bind(2, to_ms);
    std::size_t place = 0; // nearly always that of the moment before
    while (query.executeStep()) {
        const SQLite::Column column = query.getColumn(1);
        const std::string_view code = codeIn(column);
        const std::size_t count = CMomentCode::count(code);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t tried = (place + i) % count;
            if (CMomentCode::controllerAt(code, tried) == controller) {
                place = tried;
                result.push_back(CMomentCode::sampleAt(code, tried, query.getColumn(0).getInt64()));
                break;
            }
        }
    }
    return result;
}

void CHistoryReader::Private::forEach(std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms,
                                      const Take& take)
{
    std::vector<SCodedSample> pending; // which may have to stand behind some of the next stretch
    const auto takeUntil = [&](std::int64_t end_ms) {
        std::stable_sort(pending.begin(), pending.end(), isEarlier);
        const auto end = std::find_if(pending.begin(), pending.end(),
                                      [&](const SCodedSample& sample) { return sample.time_ms >= end_ms; });
        std::for_each(pending.begin(), end, take);
        pending.erase(pending.begin(), end);
    };
    std::int64_t begin_ms = from_ms - longestStretch_ms;
    std::int64_t id = 0;
    for (bool more = true; more;) {
        SQLite::Transaction transaction(database);
        SQLite::Statement query(database, "SELECT begin, id, samples FROM stretch WHERE controller = ?1 AND "
                                          "(begin, id) > (?2, ?3) AND begin <= ?4 AND end >= ?5 "
                                          "ORDER BY begin, id LIMIT ?6");
        query.bind(1, controller);
        query.bind(2, begin_ms);
        query.bind(3, id);
        query.bind(4, to_ms);
        query.bind(5, from_ms);
        query.bind(6, stretchesAtOnce);
        std::int64_t read = 0;
        for (; query.executeStep(); ++read) {
            begin_ms = query.getColumn(0).getInt64();
            id = query.getColumn(1).getInt64();
            takeUntil(begin_ms);
            const SQLite::Column column = query.getColumn(2);
            for (const SCodedSample& sample : decodeSamples(codeIn(column))) {
                if (sample.time_ms >= from_ms && sample.time_ms <= to_ms) {
                    pending.push_back(sample);
                }
            }
        }
        more = read == stretchesAtOnce;
        if (!more) { // of the same state of the file: meanwhile these may become stretches
            const std::vector<SCodedSample> last = lastSamples(controller, from_ms, to_ms);
            pending.insert(pending.end(), last.begin(), last.end());
        }
    }
    takeUntil(std::numeric_limits<std::int64_t>::max());
}

/// The begin of the first row of a level; of the first single value for a length of 0.
std::optional<std::int64_t> CHistoryReader::Private::first(std::int64_t controller, std::int64_t length_ms)
{
    SQLite::Statement query(
        database, length_ms == 0 ? "SELECT min(begin) FROM stretch WHERE controller = ?"
                                 : "SELECT min(begin) FROM level WHERE controller = ? AND length = ?");
    query.bind(1, controller);
    if (length_ms != 0) {
        query.bind(2, length_ms);
    }
    query.executeStep();
    if (!query.getColumn(0).isNull()) {
        return query.getColumn(0).getInt64();
    }
    constexpr std::int64_t always = std::numeric_limits<std::int64_t>::max();
    const std::vector<SCodedSample> last = lastSamples(controller, -always, always);
    return last.empty()
               ? std::nullopt
               : std::optional<std::int64_t>(std::min_element(last.begin(), last.end(), isEarlier)->time_ms);
}

/// Of what stands in stretches that are wholly within the time.
bool CHistoryReader::Private::hasMoreThan(std::int64_t most, std::int64_t controller, std::int64_t from_ms,
                                          std::int64_t to_ms)
{
    SQLite::Statement query(database, "SELECT count FROM stretch WHERE controller = ? AND begin >= ? AND "
                                      "begin <= ? AND end <= ?");
    query.bind(1, controller);
    query.bind(2, from_ms);
    query.bind(3, to_ms);
    query.bind(4, to_ms);
    std::int64_t count = 0;
    while (count <= most && query.executeStep()) {
        count += query.getColumn(0).getInt64();
    }
    return count > most;
}

/// The rows of a level from the one of `from_ms` on, joined to rows of `bucket_ms`, with the moments that are
/// not in it yet if `withMoments`.
Buckets CHistoryReader::Private::rowsOfLevel(std::int64_t controller, std::int64_t length_ms,
                                             std::int64_t from_ms, std::int64_t to_ms, std::int64_t bucket_ms,
                                             bool withMoments)
{
    Buckets result;
    SQLite::Transaction transaction(database); // meanwhile moments may be added to levels
    SQLite::Statement query(
        database, "SELECT begin, mode, health, setCount, setMinimum, setMaximum, setSum, actualCount, "
                  "actualMinimum, actualMaximum, actualSum, controlCount, controlMinimum, controlMaximum, "
                  "controlSum FROM level WHERE controller = ? AND length = ? AND begin BETWEEN ? AND ?");
    query.bind(1, controller);
    query.bind(2, length_ms);
    query.bind(3, beginOf(from_ms, length_ms));
    query.bind(4, to_ms);
    while (query.executeStep()) {
        const int mode = query.getColumn(1).getInt();
        result[beginOf(query.getColumn(0).getInt64(), bucket_ms)].add(SHistoryBucket{
            (mode & 2) != 0, (mode & 1) != 0, static_cast<EHealth>(query.getColumn(2).getInt()),
            valuesIn(query, 3), valuesIn(query, 7), valuesIn(query, 11)});
    }
    if (withMoments) {
        for (const SCodedSample& sample : lastSamples(controller, beginOf(from_ms, length_ms), to_ms)) {
            result[beginOf(sample.time_ms, bucket_ms)].add(sample, healthOf(sample.state / 4).kind);
        }
    }
    return result;
}

/// Adds what stands in a level, or coarser ones, before `to_ms`: the first of the finer values, which are not
/// kept for as long.
void CHistoryReader::Private::addCoarser(std::int64_t controller, std::size_t level, std::int64_t from_ms,
                                         std::int64_t to_ms, std::int64_t bucket_ms, Buckets& buckets)
{
    for (; level < historyLevels_ms.size() && from_ms < to_ms; ++level) {
        const std::int64_t length_ms = historyLevels_ms[level];
        const std::int64_t begin_ms = first(controller, length_ms).value_or(to_ms);
        if (begin_ms + length_ms > to_ms) {
            continue; // this level has no whole row before
        }
        const std::int64_t last_ms = beginOf(to_ms, length_ms) - length_ms;
        for (const auto& [begin, bucket] :
             rowsOfLevel(controller, length_ms, from_ms, last_ms, roundedUp(bucket_ms, length_ms), false)) {
            buckets[begin].add(bucket);
        }
        to_ms = begin_ms;
    }
}

std::optional<SHistoryRange> CHistoryReader::Private::range(bool withLevels)
{
    constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();
    std::int64_t from_ms = never;
    std::int64_t to_ms = -never;
    const auto extend = [&](SQLite::Statement& query, std::int64_t length_ms) {
        query.executeStep();
        // a row of a level may begin before the first of its values that are still kept
        if (!query.getColumn(0).isNull() && query.getColumn(0).getInt64() <= from_ms - length_ms) {
            from_ms = query.getColumn(0).getInt64();
        }
        if (!query.getColumn(1).isNull() && query.getColumn(1).getInt64() > to_ms) {
            to_ms = query.getColumn(1).getInt64();
        }
        query.reset();
    };
    SQLite::Transaction transaction(database);
    SQLite::Statement moments(database, "SELECT min(time), max(time) FROM moment");
    extend(moments, 0);
    SQLite::Statement stretches(database, "SELECT (SELECT min(begin) FROM stretch WHERE controller = ?1), "
                                          "(SELECT end FROM stretch WHERE controller = ?1 "
                                          "ORDER BY begin DESC LIMIT 1)");
    SQLite::Statement level(database,
                            "SELECT (SELECT min(begin) FROM level WHERE controller = ?1 AND length = ?2), "
                            "(SELECT max(begin) FROM level WHERE controller = ?1 AND length = ?2)");
    SQLite::Statement controllers(database, "SELECT id FROM controller");
    while (controllers.executeStep()) {
        const std::int64_t controller = controllers.getColumn(0).getInt64();
        stretches.bind(1, controller);
        extend(stretches, 0);
    }
    controllers.reset();
    while (withLevels && controllers.executeStep()) {
        for (const std::int64_t length_ms : historyLevels_ms) {
            level.bind(1, controllers.getColumn(0).getInt64());
            level.bind(2, length_ms);
            extend(level, length_ms);
        }
    }
    return from_ms == never ? std::nullopt : std::optional<SHistoryRange>({timeOf(from_ms), timeOf(to_ms)});
}

/// Up to `most` single values, if there are no more, and none that are kept as rows of a level only.
std::optional<SHistoryTrend> CHistoryReader::Private::singleValues(std::int64_t controller,
                                                                   std::int64_t from_ms, std::int64_t to_ms,
                                                                   std::int64_t most)
{
    if (hasMoreThan(most, controller, from_ms, to_ms)) {
        return std::nullopt;
    }
    Buckets coarser;
    addCoarser(controller, 0, from_ms, std::min(first(controller, 0).value_or(to_ms), to_ms), 1, coarser);
    SHistoryTrend result;
    forEach(controller, from_ms, to_ms, [&](const SCodedSample& sample) {
        SHistoryBucket bucket;
        bucket.add(sample, healthOf(sample.state / 4).kind);
        result.rows.push_back(rowOf(sample.time_ms, bucket));
    });
    const bool isWhole = coarser.empty() && static_cast<std::int64_t>(result.rows.size()) <= most;
    return isWhole ? std::optional<SHistoryTrend>(std::move(result)) : std::nullopt;
}

SHistoryTrend CHistoryReader::Private::read(std::int64_t controller, std::int64_t from_ms, std::int64_t to_ms,
                                            std::int64_t most)
{
    if (auto single = singleValues(controller, from_ms, to_ms, most)) {
        return *single;
    }
    std::int64_t bucket_ms = std::max<std::int64_t>((to_ms - from_ms + most - 1) / most, 1);
    std::size_t coarser = 0; // the first level that is too coarse
    while (coarser < historyLevels_ms.size() && historyLevels_ms[coarser] <= bucket_ms) {
        ++coarser;
    }
    Buckets buckets;
    std::int64_t length_ms = 0;
    if (coarser == 0) {
        forEach(controller, from_ms, to_ms, [&](const SCodedSample& sample) {
            buckets[beginOf(sample.time_ms, bucket_ms)].add(sample, healthOf(sample.state / 4).kind);
        });
    } else {
        length_ms = historyLevels_ms[coarser - 1];
        bucket_ms = roundedUp(bucket_ms, length_ms);
        buckets = rowsOfLevel(controller, length_ms, from_ms, to_ms, bucket_ms, true);
    }
    const std::int64_t first_ms = first(controller, length_ms).value_or(to_ms);
    addCoarser(controller, coarser, from_ms, std::min(first_ms, to_ms), bucket_ms, buckets);
    return {std::chrono::milliseconds(bucket_ms), rowsOf(buckets)};
}

CHistoryReader::CHistoryReader(const std::filesystem::path& file) : private_(std::make_unique<Private>(file))
{}

CHistoryReader::~CHistoryReader() = default;

std::vector<SHistoryChannel> CHistoryReader::channels() const
{
    return private_->guarded([this] {
        std::vector<SHistoryChannel> result;
        SQLite::Statement query(private_->database, "SELECT name, unit FROM controller ORDER BY id");
        while (query.executeStep()) {
            result.push_back({query.getColumn(0).getString(), query.getColumn(1).getString()});
        }
        return result;
    });
}

std::optional<SHistoryRange> CHistoryReader::range() const
{
    return private_->guarded([this] { return private_->range(true); });
}

std::optional<SHistoryRange> CHistoryReader::sampleRange() const
{
    return private_->guarded([this] { return private_->range(false); });
}

SHistoryTrend CHistoryReader::read(const std::string& channel, std::chrono::system_clock::time_point from,
                                   std::chrono::system_clock::time_point to, std::size_t points) const
{
    return private_->guarded([&] {
        const auto controller = private_->find(channel);
        if (!controller || to < from) {
            return SHistoryTrend();
        }
        return private_->read(*controller, millisecondsOf(from), millisecondsOf(to),
                              static_cast<std::int64_t>(std::max<std::size_t>(points, 1)));
    });
}

std::optional<std::chrono::system_clock::time_point>
CHistoryReader::nextSample(std::chrono::system_clock::time_point time) const
{
    return private_->guarded([&] {
        std::optional<std::chrono::system_clock::time_point> result;
        SQLite::Transaction transaction(private_->database);
        const auto consider = [&](SQLite::Statement& query) {
            if (query.executeStep() && !query.getColumn(0).isNull()) {
                const auto found = std::max(timeOf(query.getColumn(0).getInt64()), time);
                result = std::min(result.value_or(found), found);
            }
            query.reset();
        };
        SQLite::Statement moments(private_->database, "SELECT min(time) FROM moment WHERE time > ?");
        moments.bind(1, millisecondsOf(time));
        consider(moments);
        SQLite::Statement stretches(private_->database,
                                    "SELECT min(begin) FROM stretch WHERE controller = ? AND begin > ? AND "
                                    "end > ?");
        SQLite::Statement controllers(private_->database, "SELECT id FROM controller");
        while (controllers.executeStep()) {
            stretches.bind(1, controllers.getColumn(0).getInt64());
            stretches.bind(2, millisecondsOf(time) - longestStretch_ms);
            stretches.bind(3, millisecondsOf(time));
            consider(stretches);
        }
        return result;
    });
}

void CHistoryReader::forEachSample(const std::string& channel, const SHistoryRange& range,
                                   const std::function<void(const SHistorySample&)>& take) const
{
    private_->guarded([&] {
        if (const auto controller = private_->find(channel)) {
            private_->forEach(*controller, millisecondsOf(range.from), millisecondsOf(range.to),
                              [&](const SCodedSample& sample) {
                                  take({timeOf(sample.time_ms), sample.setPoint, sample.actualValue,
                                        sample.controlValue, (sample.state & 2) != 0, (sample.state & 1) != 0,
                                        private_->healthOf(sample.state / 4)});
                              });
        }
    });
}

std::vector<SHistoryEvent> CHistoryReader::events(const SHistoryRange& range, const std::string& channel,
                                                  std::size_t limit) const
{
    return private_->guarded([&] {
        std::vector<SHistoryEvent> result;
        SQLite::Statement query(private_->database,
                                "SELECT time, kind, ifnull(name, ''), text FROM event LEFT JOIN controller "
                                "ON controller.id = event.controller WHERE time BETWEEN ?1 AND ?2 AND "
                                "(?3 = '' OR name IS NULL OR name = ?3) ORDER BY time DESC, event.id DESC "
                                "LIMIT ?4");
        query.bind(1, millisecondsOf(range.from));
        query.bind(2, millisecondsOf(range.to));
        query.bind(3, channel);
        query.bind(4, static_cast<std::int64_t>(limit));
        while (query.executeStep()) {
            result.push_back({timeOf(query.getColumn(0).getInt64()),
                              static_cast<SHistoryEvent::eKind>(query.getColumn(1).getInt()),
                              query.getColumn(2).getString(), query.getColumn(3).getString()});
        }
        std::reverse(result.begin(), result.end());
        return result;
    });
}

const char* textOf(SHistoryEvent::eKind kind)
{
    switch (kind) {
    case SHistoryEvent::Run:
        return "run";
    case SHistoryEvent::Command:
        return "command";
    case SHistoryEvent::Health:
        return "health";
    case SHistoryEvent::Gap:
        return "gap";
    }
    return "";
}

} // namespace Rvl
