#include "mp4_tracks.h"

namespace zvprobe {

SampleWalk::SampleWalk(const mp4_trak_box &track) : tables_(track.mdia.minf.stbl), track_(track) {
    const mp4_stbl_box &tables = tables_;
    const mp4_stsz_box &sizes = tables.stsz;
    if (sizes.samples_size_intotal != 0 || sizes.sample_size_table != nullptr) total_ = sizes.table_size;
    chunks_ = tables.stco.chunk_offset_amount;
}

bool SampleWalk::EnterChunk() {
    const mp4_stsc_box &map = tables_.stsc;
    while (left_in_chunk_ == 0) {
        if (chunk_ >= chunks_ || map.scmap == nullptr || map.map_amount == 0) return false;
        while (map_ + 1 < map.map_amount && map.scmap[map_ + 1].first_chunk_num <= chunk_ + 1) ++map_;
        left_in_chunk_ = map.scmap[map_].sample_amount_in_cur_table;
        const mp4_stco_box &chunks = tables_.stco;
        at_ = chunks.chunk_offset_64 != nullptr ? chunks.chunk_offset_64[chunk_]
                                                : chunks.chunk_offset_from_file_begin[chunk_];
        ++chunk_;
    }
    return true;
}

uint32_t SampleWalk::TakeTime() {
    const mp4_stts_box &times = tables_.stts;
    if (times.time_to_sample_table_count == nullptr || times.time_to_sample_table_duration == nullptr) return 0;
    while (time_row_ < times.number_of_entries && time_used_ >= times.time_to_sample_table_count[time_row_]) {
        ++time_row_;
        time_used_ = 0;
    }
    if (time_row_ >= times.number_of_entries) return 0;
    ++time_used_;
    return times.time_to_sample_table_duration[time_row_];
}

/** Without a table all samples are sync samples. */
bool SampleWalk::TakeKey() {
    const mp4_stss_box &syncs = tables_.stss;
    if (syncs.sync_sample_table == nullptr || syncs.number_of_entries == 0) return true;
    while (sync_ < syncs.number_of_entries && syncs.sync_sample_table[sync_] < sample_ + 1) ++sync_;
    return sync_ < syncs.number_of_entries && syncs.sync_sample_table[sync_] == sample_ + 1;
}

/** The reader has put the places of fragments in order already. */
bool SampleWalk::NextOfFragment(Sample *sample) {
    const uint64_t index = sample_ - total_;
    if (index >= track_.fragments.size()) return false;
    const mp4_place_t &place = track_.fragments[index];
    const bool last = index + 1 == track_.fragments.size();
    const uint64_t next = last ? track_.fragment_time : track_.fragments[index + 1].dulTime;
    *sample = {static_cast<uint64_t>(place.dlOffset), place.ulSize, place.dulTime,
               static_cast<uint32_t>(next - place.dulTime), place.bKey != 0};
    ++sample_;
    return true;
}

bool SampleWalk::Next(Sample *sample) {
    if (sample_ >= total_) return NextOfFragment(sample);
    if (!EnterChunk()) return false;
    const mp4_stsz_box &sizes = tables_.stsz;
    sample->at = at_;
    sample->size = sizes.samples_size_intotal != 0 ? sizes.samples_size_intotal : sizes.sample_size_table[sample_];
    sample->time = time_;
    sample->length = TakeTime();
    sample->key = TakeKey();
    time_ += sample->length;
    at_ += sample->size;
    --left_in_chunk_;
    ++sample_;
    return true;
}

}  // namespace zvprobe
