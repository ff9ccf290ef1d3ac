// Tracks the detections of a camera through a running `nivra track`: a line for each frame goes in, one comes out.
// usage: node track.mjs < detections.jsonl

import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';

const tracker = spawn('nivra', ['track', '--labels', 'human,car'], { stdio: ['pipe', 'pipe', 'inherit'] });
process.stdin.pipe(tracker.stdin);

for await (const line of createInterface({ input: tracker.stdout })) {
  const answer = JSON.parse(line);
  for (const track of answer.tracks ?? []) {
    console.log(answer.camera, answer.timestamp, track.label, track.id, JSON.stringify(track.box));
  }
}
