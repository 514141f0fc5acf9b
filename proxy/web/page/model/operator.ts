import type { Api } from "./api";
import type { Site } from "./site";
import type { DoorAddress, DoorOperation, Outcome } from "./types";
import { doorKey } from "./types";

// What was answered at a door, until it is old news.
export interface DoorAnswer {
    operation: DoorOperation;
    outcome: Outcome;
    // On this device's clock.
    time: number;
}

// Good news needs no reading twice; the door's last result stays anyway.
const goodNewsFor = 60_000;

// Sends the user's requests at doors, each at most once at a time, and keeps their answers.
export class Operator {
    private readonly underWay_ = new Set<string>();
    private readonly answers_ = new Map<string, DoorAnswer>();

    constructor(
        private readonly api_: Api,
        private readonly site_: Site,
    ) {}

    isUnderWay(door: DoorAddress, operation: DoorOperation): boolean {
        return this.underWay_.has(`${doorKey(door)} ${operation}`);
    }

    answerAt(door: DoorAddress): DoorAnswer | undefined {
        return this.answers_.get(doorKey(door));
    }

    // Null if the same is under way already.
    async run(door: DoorAddress, operation: DoorOperation, duration: number): Promise<Outcome | null> {
        const key = doorKey(door);
        const touch = `${key} ${operation}`;
        if (this.underWay_.has(touch)) {
            return null;
        }
        this.underWay_.add(touch);
        this.answers_.delete(key);
        this.site_.changes.markDoor(key);
        const timing = operation === "open-close" ? { duration } : {};
        const outcome = await this.api_.request({ operation, gateway: door.gateway, lock: door.lock, ...timing });
        this.underWay_.delete(touch);
        this.keep(key, { operation, outcome, time: Date.now() });
        return outcome;
    }

    private keep(key: string, answer: DoorAnswer): void {
        this.answers_.set(key, answer);
        this.site_.changes.markDoor(key);
        if (answer.outcome.result === "ack") {
            setTimeout(() => this.drop(key, answer), goodNewsFor);
        }
    }

    private drop(key: string, answer: DoorAnswer): void {
        if (this.answers_.get(key) === answer) {
            this.answers_.delete(key);
            this.site_.changes.markDoor(key);
        }
    }
}
