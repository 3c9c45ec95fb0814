-- Codes many texts that are made of the same words, as names of a protocol are. A word is a run of letters
-- and digits with what stands behind it up to the next one, as in "rovk_" or "version *|". A text is the
-- codes of its words and a 0. The most frequent words have a code of one byte; the others have two, of which
-- the first is one of the highest bytes. All places are offsets, so nothing has to be relocated.

local texts = {}
texts.__index = texts

-- The longest text that is decoded where it is used, and how far a word is copied beyond its end: both as
-- in lualib/runtime/texts.h.
texts.LONGEST = 111
texts.OVERRUN = 16

local function words_of(text)
  local words, rest = {}, text
  while rest ~= "" do
    local word = rest:match("^%w*[^%w]*")
    words[#words + 1] = word
    rest = rest:sub(#word + 1)
  end
  return words
end

-- Codes all texts of a list; nothing can be added later. The empty text has place 0.
function texts.new(list)
  local counts, words = {}, {}
  for _, text in ipairs(list) do
    for _, word in ipairs(words_of(text)) do
      if not counts[word] then
        words[#words + 1] = word
      end
      counts[word] = (counts[word] or 0) + 1
    end
  end
  table.sort(words, function(a, b)
    if counts[a] ~= counts[b] then
      return counts[a] > counts[b]
    end
    return a < b
  end)
  local high = 0
  while 255 - high + 256 * high < #words do
    high = high + 1
  end
  local self = setmetatable({ words = words, short = 255 - high, bytes = { 0 }, places = { [""] = 0 } }, texts)
  local codes = {}
  for number, word in ipairs(words) do
    local beyond = number - self.short - 1
    codes[word] = beyond < 0 and { number } or { self.short + 1 + math.floor(beyond / 256), beyond % 256 }
  end
  for _, text in ipairs(list) do
    if not self.places[text] then
      self.places[text] = #self.bytes
      for _, word in ipairs(words_of(text)) do
        for _, byte in ipairs(codes[word]) do
          self.bytes[#self.bytes + 1] = byte
        end
      end
      self.bytes[#self.bytes + 1] = 0
    end
  end
  assert(#self.bytes < 65536, "the texts have more room than their places can tell")
  return self
end

function texts:place(text)
  return assert(self.places[text], text)
end

-- Writes a list of numbers, many in a line.
local function list_numbers(out, head, numbers)
  out:line("%s = {", head)
  for first = 1, #numbers, 24 do
    out:line("    %s,", table.concat(numbers, ",", first, math.min(first + 23, #numbers)))
  end
  out:line("};")
end

function texts:emit(out)
  local begins, letters, sum = {}, {}, 0
  for position, word in ipairs(self.words) do
    begins[position] = sum
    letters[position] = ('    "%s"'):format(word)
    sum = sum + #word
  end
  begins[#begins + 1] = sum
  list_numbers(out, "const uint8_t coded_texts[]", self.bytes)
  list_numbers(out, "const uint16_t text_words[]", begins)
  out:line("const char text_letters[%d] =", sum + texts.OVERRUN + 1)
  out:line("%s;", table.concat(letters, "\n"))
  out:line("const unsigned text_short_codes = %d;", self.short)
end

return texts
