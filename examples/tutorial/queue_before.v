// A queue of four bytes. The one that passed.

`timescale 1ns / 1ns

module queue (
    input  wire       clk,
    input  wire       rst,
    input  wire       push,
    input  wire [7:0] push_data,
    output wire       ready,
    input  wire       pop,
    output wire [7:0] pop_data,
    output wire       valid
);
    reg [7:0] store [0:3];
    reg [1:0] head;
    reg [1:0] tail;
    reg [2:0] level;

    wire [2:0] next_level = level + push - pop;

    assign ready    = level < 4;
    assign valid    = level != 0;
    assign pop_data = store[head];

    always @(posedge clk)
        if (rst) begin
            head  <= 0;
            tail  <= 0;
            level <= 0;
        end else begin
            level <= next_level;
            if (push) begin
                store[tail] <= push_data;
                tail        <= tail + 1;
            end
            if (pop) head <= head + 1;
        end
endmodule
