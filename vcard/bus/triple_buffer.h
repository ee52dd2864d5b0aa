// The card's side of the triple buffers in card memory. The index words of either direction belong
// to one side each; whatever the host writes into its own word, the card stays inside its buffers.
//
// First generation: a word is a buffer index. The producer names its newest buffer, the consumer
// the buffer that it reads; the producer writes the third one.
//
// Second generation: a word carries the newest buffer (producer) or the buffer held (consumer) in
// bits 0-1 and a sequence in bits 8-31, counted up when a publication begins and again when it
// ends, so that bit 8 is set while the producer writes. Bit 2 of the consumer's word asks the
// producer to leave the buffer in bits 0-1 alone, bits 3-7 count these requests; the producer
// echoes bits 2-7 with each publication.
#pragma once

#include "layout/card_memory_map.h"

#include <cstdint>

namespace tarn::vcard {

using PiBuffers = uint8_t (*)[kPiBufferSize];

// Takes the fast outputs that the host publishes.
class FastOutputReader {
  public:
    FastOutputReader(TripleIndexOut *words, PiBuffers buffers, uint32_t generation)
        : words_(words), buffers_(buffers), generation_(generation) {}

    // Copies the newest image when there is one that was not taken before. True when it did.
    bool take(uint8_t *image, uint32_t bytes);

    // Counts what the host has published so far as taken.
    void skip();

  private:
    enum class Attempt { Taken, Nothing, Again };
    bool take_announced(uint8_t *image, uint32_t bytes);
    Attempt take_checked(uint8_t *image, uint32_t bytes);
    void write_word(uint32_t word);

    TripleIndexOut *words_;
    PiBuffers buffers_;
    uint32_t generation_;
    uint32_t word_ = 0; // the card's word
};

// Publishes the shadow inputs to the host.
class ShadowInputWriter {
  public:
    ShadowInputWriter(TripleIndexIn *words, PiBuffers buffers, uint32_t generation)
        : words_(words), buffers_(buffers), generation_(generation) {}

    void publish(const uint8_t *image, uint32_t bytes);

  private:
    TripleIndexIn *words_;
    PiBuffers buffers_;
    uint32_t generation_;
    uint32_t word_ = 0; // the card's word
};

} // namespace tarn::vcard
