-- For wrk: counts the answers that are not what one request alone has got, a page of ANSWER_BYTES
-- bytes, and prints the totals in one line.
local length = tonumber(os.getenv("ANSWER_BYTES"))
local threads = {}
wrong = 0

function setup(thread)
  table.insert(threads, thread)
end

function response(status, _, body)
  if status ~= 200 or #body ~= length then
    wrong = wrong + 1
  end
end

function done(summary)
  local all = 0
  for _, thread in ipairs(threads) do
    all = all + thread:get("wrong")
  end
  local errors = summary.errors.connect + summary.errors.read + summary.errors.write +
    summary.errors.timeout
  print(("answers %d wrong %d errors %d microseconds %d"):format(
    summary.requests, all, errors, summary.duration))
end
